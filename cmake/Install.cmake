# What `cmake --install` puts where. Component "runtime": the programs, their documents, and a shared library;
# "development": what is needed to build with the library.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zu)

# The public headers and those that they include. They are included by their bare names, so they have a folder of
# their own.
set(headers
  application/zuap.h
  application/zuap_Application.h
  application/zuap_Setting.h
  application/zuap_SettingsFile.h
  misc/zu_Functions.h
  misc/zust_Wait.h
  misc/zutl_ByteOrder.h
  misc/zutl_Exception.h
  misc/zutl_File.h
  misc/zutl_Integer.h
  misc/zutl_Length32.h
  misc/zutl_SmartArray.h
  misc/zutl_String.h
  misc/zutl_url.h
  streams/zusl_Element.h
  streams/zusl_List.h
  streams/zusl_Map.h
  streams/zusl_MemIOStream.h
  streams/zusl_Record.h
  streams/zusl_Serializable.h
  streams/zusl_Stream.h
  xml/zuxml_DomIterator.h)
list(TRANSFORM headers PREPEND ${PROJECT_SOURCE_DIR}/libraries/src/)
install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zu COMPONENT development)

install(TARGETS zu EXPORT zuTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zu)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT BUILD_SHARED_LIBS)
  # The compiler's notes for optimising at link time go: another version of it would stumble over them.
  install(CODE "
    get_filename_component(library \"${CMAKE_INSTALL_LIBDIR}/libzu.a\" ABSOLUTE BASE_DIR \"\${CMAKE_INSTALL_PREFIX}\")
    execute_process(
      COMMAND \"${CMAKE_OBJCOPY}\" -R .gnu.lto_* -R .gnu.debuglto_* -R .comment \"\$ENV{DESTDIR}\${library}\"
      COMMAND_ERROR_IS_FATAL ANY)" COMPONENT development)
endif()
install(EXPORT zuTargets NAMESPACE zu:: DESTINATION ${package} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zuConfig.cmake.in ${PROJECT_BINARY_DIR}/zuConfig.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zuConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zuConfig.cmake ${PROJECT_BINARY_DIR}/zuConfigVersion.cmake
  DESTINATION ${package} COMPONENT development)

# zu.pc finds the headers and the library relative to its own directory.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE pc_prefix)
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR} zu)
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
set(pc_requires "")
if(ZU_XML_BACKEND STREQUAL "pugixml" AND NOT BUILD_SHARED_LIBS)
  set(pc_requires pugixml)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/zu.pc.in ${PROJECT_BINARY_DIR}/zu.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zu.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(FILES
  ${PROJECT_SOURCE_DIR}/docs/application.md ${PROJECT_SOURCE_DIR}/docs/formats.md ${PROJECT_SOURCE_DIR}/docs/library.md
  DESTINATION ${documents}/libzu-dev COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright DESTINATION ${documents}/libzu-dev COMPONENT development)

file(RELATIVE_PATH way_to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(manual saveSettings.8 zudump.1 zusettings.1)
  get_filename_component(program ${manual} NAME_WLE)
  get_filename_component(section ${manual} LAST_EXT)
  string(REPLACE "." "man" section ${section})
  if(TARGET ${program})
    if(BUILD_SHARED_LIBS)
      set_target_properties(${program} PROPERTIES INSTALL_RPATH $ORIGIN/${way_to_library})
    endif()
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${manual}
      DESTINATION ${CMAKE_INSTALL_MANDIR}/${section} COMPONENT runtime)
  endif()
endforeach()
if(TARGET saveSettings)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/demo/servers/
    DESTINATION ${documents}/savesettings/examples COMPONENT runtime)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/packaging/systemd
    DESTINATION ${documents}/savesettings/examples COMPONENT runtime)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/inittab
    DESTINATION ${documents}/savesettings/examples COMPONENT runtime)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/deploy.md ${PROJECT_SOURCE_DIR}/docs/page.md
    DESTINATION ${documents}/savesettings COMPONENT runtime)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/page DESTINATION ${CMAKE_INSTALL_DATADIR}/savesettings COMPONENT runtime)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright DESTINATION ${documents}/savesettings COMPONENT runtime)
endif()

if(TARGET zusettings)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/zusettings
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
endif()

if(TOP_LEVEL AND NOT BUILD_SHARED_LIBS)
  include(cmake/Packaging.cmake)
endif()
