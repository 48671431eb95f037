# The installed package: lib/libqor_core.a, the headers under include/qor_core/, the GDB pretty-printers under
# share/qor_core/gdb/, and lib/cmake/qor_core/ for find_package( qor_core CONFIG ).
#
# A user links qor_core::qor_core, an interface target that takes the archive whole: the library's static
# initialisers register log categories, options and actions from units a program may never call into, and a
# plain archive would drop them. The archive itself is exported as qor_core::qor_core_archive.
include( GNUInstallDirs )
include( CMakePackageConfigHelpers )

add_library( qor_core_whole INTERFACE )
# The export does not rename a target inside $<LINK_LIBRARY>: the installed name is given here.
target_link_libraries( qor_core_whole INTERFACE
    "$<LINK_LIBRARY:WHOLE_ARCHIVE,$<BUILD_INTERFACE:qor_core>$<INSTALL_INTERFACE:qor_core::qor_core_archive>>" )
set_target_properties( qor_core PROPERTIES EXPORT_NAME qor_core_archive )
set_target_properties( qor_core_whole PROPERTIES EXPORT_NAME qor_core )

# Users build with C++20 and SSE3 (the matrix product's intrinsics are inline) and, from a sanitizer build,
# with its sanitizers; the project's warnings stay in the project.
target_compile_features( qor_core PUBLIC cxx_std_20 )
target_compile_options( qor_core INTERFACE $<INSTALL_INTERFACE:-msse3> )
if( QOR_SANITIZE )
    target_compile_options( qor_core INTERFACE $<INSTALL_INTERFACE:-fsanitize=${QOR_SANITIZE_LIST} -fno-omit-frame-pointer> )
    target_link_options( qor_core INTERFACE $<INSTALL_INTERFACE:-fsanitize=${QOR_SANITIZE_LIST}> )
endif()

install( TARGETS qor_core qor_core_whole EXPORT qor_core_targets
         ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
         INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} )
install( DIRECTORY qor_core/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor_core
         FILES_MATCHING PATTERN "*.h" PATTERN "benchmarks" EXCLUDE )
install( FILES tools/gdb/qor_core_printers.py DESTINATION ${CMAKE_INSTALL_DATADIR}/qor_core/gdb )

set( QOR_CORE_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qor_core )
install( EXPORT qor_core_targets NAMESPACE qor_core:: FILE qor_core-targets.cmake DESTINATION ${QOR_CORE_CONFIG_DIR} )
configure_package_config_file( cmake/qor_core-config.cmake.in ${PROJECT_BINARY_DIR}/qor_core-config.cmake
                               INSTALL_DESTINATION ${QOR_CORE_CONFIG_DIR} PATH_VARS CMAKE_INSTALL_DATADIR )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/qor_core-config-version.cmake
                                  COMPATIBILITY SameMinorVersion )
install( FILES ${PROJECT_BINARY_DIR}/qor_core-config.cmake ${PROJECT_BINARY_DIR}/qor_core-config-version.cmake
         DESTINATION ${QOR_CORE_CONFIG_DIR} )
