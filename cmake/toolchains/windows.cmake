# SPDX-License-Identifier: Apache-2.0
# Builds for 64-bit Windows with Debian's mingw-w64; `make windows` uses it. The libraries that Debian does not package for that
# target come from cmake/windows:  cmake --preset windows   (tools/windows_libraries.sh first)
get_filename_component(quiver_root ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# The posix variant has std::thread and std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH ${quiver_root}/build-windows/libraries /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Same sources, same bytes: no time of linking, no path of the build.
add_compile_options(-ffile-prefix-map=${quiver_root}=quiver)
# Its headers would look for a DLL.
add_compile_definitions(YAML_CPP_STATIC_DEFINE)
foreach(kind EXE SHARED)
  # The compiler's run-time libraries become part of every file, so that nothing but Windows is needed to run it.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
  set(CMAKE_${kind}_LINKER_FLAGS_RELEASE_INIT "-s")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR ${quiver_root}/tools/windows_emulator.sh)
