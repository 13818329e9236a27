# What is installed, in three components: runtime (the shared library), development (headers, the
# archive, how to find them) and tools (the collector, the sample application).
include(CMakePackageConfigHelpers)

set(veltro_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Veltro")
set(veltro_doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/veltro")

# An export for each library, as who links the shared one needs nothing of what the archive needs.
install(TARGETS veltro EXPORT Veltro-shared
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS veltro_static EXPORT Veltro-static
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
foreach(library shared static)
  install(EXPORT Veltro-${library} NAMESPACE Veltro:: DESTINATION "${veltro_cmake_dir}"
    COMPONENT development)
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/veltro"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development FILES_MATCHING PATTERN "*.h")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/VeltroConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VeltroConfig.cmake" INSTALL_DESTINATION "${veltro_cmake_dir}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VeltroConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/VeltroConfig.cmake" "${PROJECT_BINARY_DIR}/VeltroConfigVersion.cmake"
  DESTINATION "${veltro_cmake_dir}" COMPONENT development)

# From the folder of veltro.pc to the prefix, so that both can be moved.
file(RELATIVE_PATH veltro_pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" veltro_pc_to_prefix "${veltro_pc_to_prefix}")
configure_file("${PROJECT_SOURCE_DIR}/packaging/veltro.pc.in" "${PROJECT_BINARY_DIR}/veltro.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/veltro.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

set(veltro_components runtime development)
if(VELTRO_BUILD_TOOLS)
  list(APPEND veltro_components tools)
  install(TARGETS veltro-collector RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/man/veltro-collector.1"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)

  # The sample application beside its package, and as an example to build.
  set(shop_dir "${PROJECT_SOURCE_DIR}/examples/shop")
  install(TARGETS shop RUNTIME DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/veltro/shop" COMPONENT tools)
  install(DIRECTORY "${shop_dir}/package/"
    DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/veltro/shop" COMPONENT tools)
  install(FILES "${shop_dir}/main.cpp" "${shop_dir}/rules.json"
    DESTINATION "${veltro_doc_dir}/examples/shop" COMPONENT tools)
  install(DIRECTORY "${shop_dir}/package"
    DESTINATION "${veltro_doc_dir}/examples/shop" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/shop.cmake" RENAME CMakeLists.txt
    DESTINATION "${veltro_doc_dir}/examples/shop" COMPONENT tools)
endif()

foreach(component ${veltro_components})
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
    DESTINATION "${veltro_doc_dir}" COMPONENT ${component})
endforeach()

if(PROJECT_IS_TOP_LEVEL)
  include(VeltroPackages)
endif()
