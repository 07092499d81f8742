include(CMakeFindDependencyMacro)
find_dependency(Imath 3 CONFIG)
include("${CMAKE_CURRENT_LIST_DIR}/HostUtilsTargets.cmake")
