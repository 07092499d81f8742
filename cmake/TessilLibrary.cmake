# What the two libraries share: language level, warnings, visibility, floating-point rules, export
# header, version and installation.
include(GenerateExportHeader)

set(TESSIL_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
# For sources that are compiled several at once: what one of them hides is another one's business.
set(TESSIL_WARNINGS_TOGETHER ${TESSIL_WARNINGS} -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
if(CMAKE_UNITY_BUILD)
  set(TESSIL_WARNINGS ${TESSIL_WARNINGS_TOGETHER})
endif()
set(TESSIL_LIBRARY_OPTIONS "" CACHE STRING "Further options that the libraries alone are compiled and linked with")

# tessil_library(NAME MACRO): turns the target NAME into one of our shared libraries. Its export
# macro is MACRO_API, in the generated header <NAME/Export.h>.
function(tessil_library name macro)
  set(generated "${PROJECT_BINARY_DIR}/include")
  generate_export_header(${name} BASE_NAME ${macro} EXPORT_MACRO_NAME ${macro}_API
                         EXPORT_FILE_NAME "${generated}/${name}/Export.h")
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_compile_options(
    ${name}
    PRIVATE ${TESSIL_WARNINGS}
            # Results must not depend on the processor or on the optimisation level: no arithmetic
            # that is only nearly right, whatever the flags from outside say; no fused multiply-add;
            # and no vectoriser of straight-line code, which g++ 12 lets drop the rounding of
            # neighbouring double to float to double conversions.
            -fno-fast-math -ffp-contract=off -fno-tree-slp-vectorize
            -fno-semantic-interposition
            ${TESSIL_LIBRARY_OPTIONS})
  target_link_options(${name} PRIVATE ${TESSIL_LIBRARY_OPTIONS})
  # A symbol that nobody defines fails here, not in the host. clang leaves those of its sanitizers
  # to the program, so builds with one go without.
  target_link_options(${name} PRIVATE $<$<NOT:$<BOOL:${TESSIL_SANITIZE}>>:-Wl,-z,defs>)
  # The library calls its own copies of inline functions of the headers that it shares with hosts;
  # otherwise a host that was compiled with other flags would change its results.
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  # A worker thread may still be leaving a loop when the loop's caller has returned, so the code has to
  # stay where it is when a host unloads the module that brought it.
  target_link_options(${name} PRIVATE -Wl,-z,nodelete)
  # Visibility marks classes; which of their functions hosts may call is written down.
  set(exports "${PROJECT_SOURCE_DIR}/abi/${name}.map")
  target_link_options(${name} PRIVATE "-Wl,--version-script=${exports}")
  set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS "${exports}")
  target_include_directories(
    ${name} PUBLIC "$<BUILD_INTERFACE:${TESSIL_INCLUDE_ROOT}>" "$<BUILD_INTERFACE:${generated}>"
                   "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  set_target_properties(
    ${name}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VERSION ${PROJECT_VERSION}
               SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
               # The libraries lie side by side, wherever the installation is moved.
               INSTALL_RPATH "$ORIGIN")
  add_library(${name}::${name} ALIAS ${name})

  if(TESSIL_INSTALL)
    install(TARGETS ${name} EXPORT ${name}Targets
            RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${name}" "${generated}/${name}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
            FILES_MATCHING PATTERN "*.h" PATTERN internal EXCLUDE)
    install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/TessilGraph")
  endif()
endfunction()
