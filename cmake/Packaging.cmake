# Debian packages: run cpack in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/stage.cmake)

set(CPACK_PACKAGE_NAME savesettings)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The saveSettings developers <developers@savesettings.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME savesettings)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION web)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS psmisc) # killall
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "settings gateway for small devices
A CGI program: a web page posts a form, saveSettings writes the fields to a
file, signals the application, and sends the browser back to the page with
the outcome.

It comes with configurations of several web servers, with a page that builds
itself from the settings of an application, with zusettings, which changes
them from the command line, and with zudump, which shows what the binary
files of the library zu hold.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzu-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library of texts, URLs, containers and streams - development files
A C++17 library for programs on small devices: texts, URLs, typed containers
that turn into bytes and files, and a stream of typed records in memory.")
if(ZU_XML_BACKEND STREQUAL "pugixml")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libpugixml-dev)
endif()

include(CPack)
