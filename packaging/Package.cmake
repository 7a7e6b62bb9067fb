# The Debian package. Libraries that the programs name are found by dpkg-shlibdeps; the list below is what they use
# while they run.
if(NOT QUORVALENT_PACKAGE)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${QUORVALENT_PACKAGE})
set(CPACK_PACKAGE_VENDOR Quorvalent)
set(CPACK_PACKAGE_CONTACT "${QUORVALENT_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL quorvalent)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_NAME ${QUORVALENT_PACKAGE})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QUORVALENT_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS ffmpeg)
# Fonts for Hindi, Khmer, Chinese, Japanese and Korean; gdbus for the launcher's actions; the toolkit's own texts;
# what opens a page or a mail program.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "default-dbus-session-bus | dbus-session-bus, fonts-noto-cjk, fonts-noto-core, libglib2.0-bin, \
qt6-translations-l10n, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS qt6-wayland)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "convert media files by changing their extension")
set(CPACK_PACKAGE_DESCRIPTION "Quorvalent watches the folders you choose. When a file's extension is
changed there, its content is converted to what the new name says: in place,
under that name, on this machine. Images become images, sounds become sounds,
videos become videos; any other change of extension is undone and explained.
.
The package holds the menu-bar program, quorvalent, and quorvalent-watch,
which does the same work from a terminal or as a user service.")
include(CPack)
