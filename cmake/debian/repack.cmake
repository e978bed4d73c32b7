# SPDX-License-Identifier: Apache-2.0
# CPack runs this when the Debian packages are written. They carry the time at which they were packed in several places; packed once
# more by dpkg-deb, with the time of the sources, the same sources give the same package:
#
#   SOURCE_DATE_EPOCH=1700000000 cpack --config build/CPackConfig.cmake
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  return()
endif()
foreach(package ${CPACK_PACKAGE_FILES})
  set(folder ${package}.unpacked)
  file(REMOVE_RECURSE ${folder})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND chmod -R u+rwX,go+rX,go-w ${folder} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find ${folder} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
                  COMMAND_ERROR_IS_FATAL ANY)
  # xz in parallel would give other bytes on other numbers of processors.
  execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip --build ${folder} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
