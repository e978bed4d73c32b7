# SPDX-License-Identifier: Apache-2.0
# SUNDIALS is optional: IDA runs cases over time, KINSOL is a second solver. For each that is found there is a target to link:
#
#   if(TARGET quiver_sundials_kinsol)
#     target_link_libraries(quiver_solve PRIVATE quiver_sundials_kinsol)
#
# Static libraries come first: Debian's shared ones want PETSC, Trilinos and MPI installed, none of which we call. Its development
# package alone, unpacked into build-sundials by tools/install_dependencies.sh, is enough.
option(QUIVER_IDA "Offer runs over time, where SUNDIALS' IDA is found" ON)
option(QUIVER_KINSOL "Offer SUNDIALS' KINSOL as a solver, where it is found" ON)
set(QUIVER_SUNDIALS_ROOT ${PROJECT_SOURCE_DIR}/build-sundials/usr CACHE PATH "Where to look for SUNDIALS beside the system's folders")

function(quiver_find_sundials package header)
  find_path(QUIVER_SUNDIALS_INCLUDE ${header} HINTS ${QUIVER_SUNDIALS_ROOT}/include)
  find_path(QUIVER_KLU_INCLUDE klu.h PATH_SUFFIXES suitesparse)
  find_library(QUIVER_KLU_LIBRARY klu)
  set(found ${QUIVER_SUNDIALS_INCLUDE} ${QUIVER_KLU_INCLUDE} ${QUIVER_KLU_LIBRARY})
  set(libraries)
  foreach(library ${package} sunlinsolklu sunmatrixsparse nvecserial)
    find_library(QUIVER_SUNDIALS_${library} NAMES libsundials_${library}.a sundials_${library} NAMES_PER_DIR
                 HINTS ${QUIVER_SUNDIALS_ROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${QUIVER_SUNDIALS_ROOT}/lib)
    list(APPEND found ${QUIVER_SUNDIALS_${library}})
    list(APPEND libraries ${QUIVER_SUNDIALS_${library}})
  endforeach()
  if(found MATCHES "NOTFOUND")
    message(STATUS "SUNDIALS' ${package} is not found: built without it.")
    return()
  endif()
  add_library(quiver_sundials_${package} INTERFACE)
  target_include_directories(quiver_sundials_${package} SYSTEM INTERFACE ${QUIVER_SUNDIALS_INCLUDE} ${QUIVER_KLU_INCLUDE})
  target_link_libraries(quiver_sundials_${package} INTERFACE ${libraries} ${QUIVER_KLU_LIBRARY})
  if(WIN32)
    # Its headers would look for a DLL.
    target_compile_definitions(quiver_sundials_${package} INTERFACE SUNDIALS_STATIC_DEFINE)
  endif()
endfunction()

# Its licence goes where its code goes.
find_file(QUIVER_SUNDIALS_LICENSE copyright NO_DEFAULT_PATH
          PATHS ${QUIVER_SUNDIALS_ROOT}/share/doc/libsundials-dev /usr/share/doc/libsundials-dev)

if(QUIVER_IDA)
  quiver_find_sundials(ida ida/ida.h)
endif()
if(QUIVER_KINSOL)
  quiver_find_sundials(kinsol kinsol/kinsol.h)
endif()
