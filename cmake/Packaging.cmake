# The Debian package: `cpack -G DEB` in the build tree (scripts/package).
# Library dependencies come from dpkg-shlibdeps; the plug-ins Qt loads at run
# time (the window system, the SQL drivers) are named here, since no linker
# sees them.
set(QOSEARCH_MAINTAINER "" CACHE STRING
    "The package's maintainer as \"Name <address>\"; the packager sets it")
set(QOSEARCH_PACKAGE_RELEASE 1 CACHE STRING "The Debian revision of the package")

set(CPACK_PACKAGE_NAME qosearch)
set(CPACK_PACKAGE_VENDOR "${QOSEARCH_VENDOR_NAME}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QOSEARCH_PACKAGE_RELEASE})
set(QOSEARCH_DEBIAN_VERSION ${PROJECT_VERSION}-${QOSEARCH_PACKAGE_RELEASE})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "search filed e-mail messages (.msg files) in shared folders")
set(CPACK_PACKAGE_DESCRIPTION
    "QoSearch finds saved .msg e-mail files in shared folder trees through a\n"
    "per-user full-text index, by subject, sender, recipients, body, attachments\n"
    "and dates. It reads the firm's filing locations from a store database\n"
    "(SQLite, MariaDB or Access) and from central filing lists. Includes the\n"
    "command-line qosearch-cli and qosearch-indexd, the service that keeps one\n"
    "central index in PostgreSQL.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "${QOSEARCH_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION mail)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6sql6-sqlite")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt6sql6-mysql, fonts-noto-cjk, xdg-utils")

# Licence and history where Debian looks for them. The history names the
# maintainer, so it is only written when one is set.
include(GNUInstallDirs)
set(QOSEARCH_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/qosearch)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/../data/debian/copyright DESTINATION ${QOSEARCH_DOC_DIR})
if(QOSEARCH_MAINTAINER)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/../data/debian/changelog.in
                 ${CMAKE_BINARY_DIR}/debian/changelog.Debian @ONLY)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz
    COMMAND gzip -9n -c ${CMAKE_BINARY_DIR}/debian/changelog.Debian
            > ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz
    DEPENDS ${CMAKE_BINARY_DIR}/debian/changelog.Debian VERBATIM)
  add_custom_target(qo_debian_changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz)
  install(FILES ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz DESTINATION ${QOSEARCH_DOC_DIR})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/../data/debian/lintian-overrides
          DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME qosearch)
endif()
include(CPack)
