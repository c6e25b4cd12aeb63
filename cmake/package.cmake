# `make package`: all that is installed, as a package of Debian.
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
set(IPTASKS_MAINTAINER "The iptasks developers <iptasks@localhost>" CACHE STRING "Who answers for the package")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME iptasks)
set(CPACK_PACKAGE_CONTACT ${IPTASKS_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "compiled answers for the customisation scripts of FPGA IP cores")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Libraries that a Tcl 8.6 shell loads: error correction codes down to register
writes, filter chains, clock settings and block memories that are proven the
best, hard processing systems with their reasons, pins of memory controllers,
transceivers and power. With a shell, programs, examples, data of reference
devices, and what C++ needs to use the libraries below.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 1)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS tcl)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "default-jre-headless, tcl-dev, pkg-config, cmake")
if(DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)  # what the libraries need of others
endif()
include(CPack)
