# Debian packages, one for each component. Configure with CMAKE_INSTALL_PREFIX=/usr, then run cpack.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME veltro)
set(CPACK_PACKAGE_VENDOR "Veltro developers")
set(CPACK_PACKAGE_CONTACT "Veltro developers <veltro@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL ${veltro_components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(veltro_same_runtime
  "libveltro${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# veltro_package(COMPONENT NAME SECTION SUMMARY TEXT...): the lines of the text make its description.
function(veltro_package component name section summary)
  string(TOUPPER ${component} key)
  list(JOIN ARGN "\n" text)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME "${name}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION "${section}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

set(veltro_about
  "Veltro records what the user of an application does, keeps every record"
  "safe on disk while it cannot be sent, and sends each to a collection"
  "server, once and in order.")
veltro_package(runtime libveltro${PROJECT_VERSION_MAJOR} libs
  "measurement library for applications" ${veltro_about}
  "." "This package contains the shared library.")
veltro_package(development libveltro-dev libdevel
  "measurement library for applications - development files" ${veltro_about}
  "." "This package contains the headers, the archive, and what CMake and"
  "pkg-config need to find them.")
veltro_package(tools veltro-tools devel
  "measurement library for applications - collector and sample" ${veltro_about}
  "." "This package contains veltro-collector, which stands in for the servers"
  "on a developer's machine, and a sample application with its source.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/triggers")
# The archive needs the libraries below, and pkg-config tells CMake where libpsl is.
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${veltro_same_runtime}, "
  "libcurl4-openssl-dev | libcurl-dev, libsqlite3-dev, libpugixml-dev, libpsl-dev, pkg-config")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${veltro_same_runtime}")

set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/debian/finish.cmake")
include(CPack)
