# SPDX-License-Identifier: Apache-2.0
# Install rules and the CMake package. What somebody else's model library needs is installed too:
#
#   find_package(Quiver REQUIRED)
#   quiver_add_model_library(my_models SOURCES my_models.cc)
#
# Quiver::host    the contract, implemented by the host library
# Quiver::frame   how models are written, with the procedures and option types; becomes part of the model library
# Quiver::quiver  the command
include(CMakePackageConfigHelpers)

set(quiver_headers ${CMAKE_INSTALL_INCLUDEDIR}/quiver)
# Where systems have no search path in the program, its libraries lie beside it.
set(quiver_libraries ${CMAKE_INSTALL_LIBDIR})
if(WIN32)
  set(quiver_libraries ${CMAKE_INSTALL_BINDIR})
endif()
set(quiver_package ${CMAKE_INSTALL_LIBDIR}/cmake/Quiver)

# An archive may drop what nobody refers to: right here, since a model library of one's own exports its own models only.
add_library(quiver_frame_archive STATIC
  $<TARGET_OBJECTS:quiver_frame> $<TARGET_OBJECTS:quiver_procedures> $<TARGET_OBJECTS:quiver_types>)
set_target_properties(quiver_frame_archive PROPERTIES OUTPUT_NAME quiver_frame LINKER_LANGUAGE CXX)

# All that is installed, and nothing that is only tested.
add_custom_target(products DEPENDS quiver quiver_host quiver_models quiver_blocks quiver_frame_archive corvanta brisolt)

install(TARGETS quiver quiver_host quiver_models quiver_blocks quiver_frame_archive
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY host frame procedures types runtime DESTINATION ${quiver_headers}
        FILES_MATCHING PATTERN "*.h" PATTERN "*.def")
install(DIRECTORY data examples DESTINATION ${CMAKE_INSTALL_DATADIR}/quiver)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES README.md CHANGELOG.md CITATION.cff LICENSE NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(QUIVER_SUNDIALS_LICENSE)
  install(FILES ${QUIVER_SUNDIALS_LICENSE} DESTINATION ${CMAKE_INSTALL_DATADIR}/quiver/licenses RENAME sundials)
endif()

configure_package_config_file(cmake/QuiverConfig.cmake.in QuiverConfig.cmake INSTALL_DESTINATION ${quiver_package}
                              PATH_VARS quiver_headers quiver_libraries CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
# Below 1.0 a new minor version may change the interface.
write_basic_package_version_file(QuiverConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuiverConfig.cmake ${PROJECT_BINARY_DIR}/QuiverConfigVersion.cmake
        DESTINATION ${quiver_package})

# From the folder of quiver.pc back to the prefix, so that the installation can be moved.
file(RELATIVE_PATH quiver_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/quiver.pc.in quiver.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quiver.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The Debian packages: `make package`. What needs MPI is a package of its own.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quiver)
set(CPACK_PACKAGE_VENDOR "The Quiver developers")
set(CPACK_PACKAGE_CONTACT "The Quiver developers <developers@quiver.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/prepare.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/repack.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Unspecified)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_CONTROL_EXTRA ${CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA} ${PROJECT_SOURCE_DIR}/cmake/debian/shlibs)
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME quiver)
set(CPACK_COMPONENT_UNSPECIFIED_DESCRIPTION "The command quiver, its model libraries,
and what models of one's own are written with.")
# To write models of one's own; solving needs none of it.
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_SUGGESTS "g++, cmake")
if(TARGET quiver_mpi)
  list(APPEND CPACK_COMPONENTS_ALL mpi)
  set(CPACK_COMPONENT_MPI_DESCRIPTION "What quiver sweep --mpi needs to share its points among the ranks of an MPI run.")
  set(CPACK_DEBIAN_MPI_PACKAGE_NAME quiver-mpi)
  set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS "quiver (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_MPI_PACKAGE_RECOMMENDS "openmpi-bin")  # mpirun
  string(APPEND CPACK_DEBIAN_UNSPECIFIED_PACKAGE_SUGGESTS ", quiver-mpi")
endif()
# Where Debian looks for it.
if(NOT WIN32)
  install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/quiver)
endif()
if(TARGET quiver_mpi)
  install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/quiver-mpi COMPONENT mpi)
endif()
include(CPack)
