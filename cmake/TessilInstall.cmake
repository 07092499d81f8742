# The package files: what find_package(TessilGraph CONFIG) and pkg-config read. The libraries and
# headers are installed where tessil_library() makes them.
include(CMakePackageConfigHelpers)

# A host's own TessilUtils comes from its own package and with its own flags.
if(TESSIL_OWN_UTILS)
  set(find_utils "include(\"\${CMAKE_CURRENT_LIST_DIR}/TessilUtilsTargets.cmake\")")
  set(pc_utils " -lTessilUtils")
elseif(TESSIL_UTILS_PACKAGE)
  set(find_utils "find_dependency(${TESSIL_UTILS_PACKAGE} CONFIG)")
  set(pc_utils "")
else()
  set(find_utils "message(FATAL_ERROR \"TessilUtils::TessilUtils is to be defined before TessilGraph is found\")")
  set(pc_utils "")
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/TessilGraph")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TessilGraphConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/TessilGraphConfig.cmake" INSTALL_DESTINATION "${package_dir}"
                              NO_SET_AND_CHECK_MACRO)
# Before 1.0 a new minor version may break hosts.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TessilGraphConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TessilGraphConfig.cmake" "${PROJECT_BINARY_DIR}/TessilGraphConfigVersion.cmake"
        DESTINATION "${package_dir}")

# pkg-config finds the prefix from the place of its file, so the installation can be moved. Only an
# absolute library or include folder ties it down.
set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/prefix/${pc_dir}" "/prefix")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(kind IN ITEMS LIB INCLUDE)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
    set(pc_${kind}DIR "${CMAKE_INSTALL_${kind}DIR}")
  else()
    set(pc_${kind}DIR "\${prefix}/${CMAKE_INSTALL_${kind}DIR}")
  endif()
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/tessilgraph.pc.in" "${PROJECT_BINARY_DIR}/tessilgraph.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tessilgraph.pc" DESTINATION "${pc_dir}")
