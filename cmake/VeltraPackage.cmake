# Packages out of the installed tree (cpack --config BUILD/CPackConfig.cmake):
#   Linux    a .deb that installs below /usr, its dependencies read off the binaries
#   Windows  a .zip to unpack anywhere: bin/ with everything side by side
set(CPACK_PACKAGE_NAME "${PROJECT_NAME}")
set(CPACK_PACKAGE_VENDOR "The kovax-veltra-source authors")
set(CPACK_PACKAGE_CONTACT "The kovax-veltra-source authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME "${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64")
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION comm)
  if(CMAKE_CROSSCOMPILING)
    # dpkg-shlibdeps knows the libraries of this machine only.
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36), libcurl4 (>= 7.88), libcurlpp0 (>= 0.8.1), libdeflate0 (>= 1.14), libfmt9 (>= 9.1), libgcc-s1 (>= 12), libssl3 (>= 3.0), libstdc++6 (>= 12), zlib1g (>= 1:1.2.13)")
  else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  endif()
  # The plug-in's decoder is in the package itself.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${VELTRA_OUTPUT_DIRECTORY}")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "wireshark | tshark")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/postinst")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()
include(CPack)
