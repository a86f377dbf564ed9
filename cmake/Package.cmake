# Debian packages, one a component: cpack --preset package

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libcorvane)
set(CPACK_PACKAGE_CONTACT "The libcorvane authors")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development corvanectl)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(_runtime "libcorvane${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${_runtime}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "Arbitrates performance boosts and limits and writes them to kernel nodes")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcorvane-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${_runtime} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers of libcorvane, for find_package and pkg-config")

set(CPACK_DEBIAN_CORVANECTL_PACKAGE_NAME corvanectl)
set(CPACK_DEBIAN_CORVANECTL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_CORVANECTL_DESCRIPTION "Plays, drives and checks platforms of libcorvane from a terminal")

include(CPack)
