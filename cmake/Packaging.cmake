# The Debian package: `cpack -G DEB` in the build tree (scripts/package).
# Library dependencies come from dpkg-shlibdeps; the plug-ins Qt loads at run
# time (the window system, the SQL drivers) are named here, since no linker
# sees them.
set(CPACK_PACKAGE_NAME qosearch)
set(CPACK_PACKAGE_VENDOR "${QOSEARCH_VENDOR_NAME}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Search filed e-mail messages (.msg files) in shared folders")
set(CPACK_PACKAGE_DESCRIPTION
    "QoSearch finds saved .msg e-mail files in shared folder trees through a per-user\n"
    "full-text index, by subject, sender, recipients, body, attachments and dates.\n"
    "It reads the firm's filing locations from a store database (SQLite, MariaDB or\n"
    "Access) and from central filing lists. Includes the command-line qosearch-cli\n"
    "and qosearch-indexd, the service that keeps one central index in PostgreSQL.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "QoSearch maintainers <qosearch@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION mail)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6sql6-sqlite")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt6sql6-mysql, fonts-noto-cjk, xdg-utils")
include(CPack)
