# The installed tree:
#   bin/veltra                                the host program
#   lib/kovax/kovax-veltra-source.kovax       the plug-in
#   lib/systemd, lib/udev, lib/sysusers.d     the recorder as a service
#   lib/kovax/libdekodrix.so                  the open decoder, found beside it
#   lib/TRIPLET/wireshark/extcap              where Debian's Wireshark finds the program
#   share/wireshark/profiles                  Wireshark's profile for LTE modems
#   include/kovax, include/dekodrix           the C interfaces
#   lib/cmake/kovax-veltra-source             find_package(kovax-veltra-source)
#   lib/pkgconfig                             the same for pkg-config
#   share/bash-completion, zsh, fish          completion of the program's command lines
#   share/man                                 manual pages, if pandoc is installed
include(CMakePackageConfigHelpers)

# Hosts link this for the interface's header; the plug-in itself is loaded at
# run time.
add_library(kovax_source_interface INTERFACE)
set_target_properties(kovax_source_interface PROPERTIES EXPORT_NAME source)
target_include_directories(kovax_source_interface INTERFACE
  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
set_target_properties(kovax-veltra-source PROPERTIES EXPORT_NAME veltra-source)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/kovax-veltra-source")
install(TARGETS veltra RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS kovax_source_interface kovax-veltra-source dekodrix
  EXPORT kovax-veltra-source-targets
  LIBRARY DESTINATION "${VELTRA_PLUGIN_INSTALL_DIR}"
  RUNTIME DESTINATION "${VELTRA_PLUGIN_INSTALL_DIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY include/kovax include/dekodrix
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES README.md LICENSE DESTINATION "${VELTRA_DOC_INSTALL_DIR}")
if(UNIX)
  install(FILES "packaging/systemd/veltra-capture@.service" DESTINATION lib/systemd/system)
  install(FILES packaging/systemd/60-veltra-capture.rules DESTINATION lib/udev/rules.d)
  install(FILES packaging/systemd/veltra-capture.sysusers
    DESTINATION lib/sysusers.d RENAME veltra-capture.conf)
endif()
install(DIRECTORY docs examples DESTINATION "${VELTRA_DOC_INSTALL_DIR}")

install(DIRECTORY packaging/wireshark/ DESTINATION "${VELTRA_PROFILE_INSTALL_DIR}")
if(UNIX)
  set(extcap_dir "lib/${CMAKE_LIBRARY_ARCHITECTURE}/wireshark/extcap")
  file(RELATIVE_PATH program_from_extcap "/${extcap_dir}" "/${CMAKE_INSTALL_BINDIR}/veltra")
  file(CREATE_LINK "${program_from_extcap}" "${PROJECT_BINARY_DIR}/veltra-extcap" SYMBOLIC)
  install(FILES "${PROJECT_BINARY_DIR}/veltra-extcap" DESTINATION "${extcap_dir}")
endif()

install(EXPORT kovax-veltra-source-targets NAMESPACE kovax:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/kovax-veltra-sourceConfig.cmake.in
  "${PROJECT_BINARY_DIR}/kovax-veltra-sourceConfig.cmake"
  INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/kovax-veltra-sourceConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/kovax-veltra-sourceConfig.cmake"
  "${PROJECT_BINARY_DIR}/kovax-veltra-sourceConfigVersion.cmake"
  DESTINATION "${package_dir}")

# The plug-in is loaded at run time: no library to link, but where the plug-in is (plugindir).
if(UNIX)
  file(RELATIVE_PATH prefix_from_pkgconfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
  configure_file(cmake/kovax-veltra-source.pc.in
    "${PROJECT_BINARY_DIR}/kovax-veltra-source.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/kovax-veltra-source.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

  # Where the shells look, those of Debian and others.
  install(FILES packaging/completion/veltra.bash
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME veltra)
  install(FILES packaging/completion/_veltra
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
  install(FILES packaging/completion/veltra.fish
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")

  find_program(VELTRA_PANDOC pandoc DOC "Makes the manual pages")
  if(VELTRA_PANDOC)
    set(man_pages "${PROJECT_BINARY_DIR}/man")
    file(GLOB man_sources CONFIGURE_DEPENDS docs/*.md packaging/man/*.lua)
    add_custom_command(OUTPUT "${man_pages}/veltra.1"
      COMMAND packaging/man-pages "${PROJECT_VERSION}" "${man_pages}"
      DEPENDS ${man_sources} packaging/man-pages
      WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
      COMMENT "Making the manual pages"
      VERBATIM)
    add_custom_target(man ALL DEPENDS "${man_pages}/veltra.1")
    # OPTIONAL: a tree of which only some targets were built has none.
    install(DIRECTORY "${man_pages}/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" OPTIONAL)
  endif()
endif()
