# rb_windows_resources(program description): gives a Windows program its version, a manifest with the releases of
# Windows that it knows, and, where the pictures are built, its icons. A program with windows gets the toolkit's
# resources and manifest: common controls 6, and its own resolution on each monitor.
enable_language(RC)

function(rb_windows_resources program description)
  set(RESOURCE_NAME ${program})
  set(RESOURCE_DESCRIPTION "${description}")
  set(resources ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/program.rc.in ${resources} @ONLY)
  # Compiled apart from the program, whose compiler options the resource compiler does not know.
  add_library(${program}-resources OBJECT ${resources})
  target_include_directories(${program}-resources PRIVATE ${PROJECT_SOURCE_DIR}/packaging/windows)
  set_source_files_properties(${resources} PROPERTIES
    OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/windows/console.manifest)
  get_target_property(has_windows ${program} WIN32_EXECUTABLE)
  if(has_windows)
    target_compile_definitions(${program}-resources PRIVATE RELAYBIRD_WINDOWS wxUSE_DPI_AWARE_MANIFEST=2)
    target_include_directories(${program}-resources PRIVATE $<TARGET_PROPERTY:rb_wx,INTERFACE_INCLUDE_DIRECTORIES>)
  endif()
  if(TARGET rb_icons)
    target_compile_definitions(${program}-resources PRIVATE RELAYBIRD_ICONS)
    target_include_directories(${program}-resources PRIVATE ${PROJECT_BINARY_DIR}/art)
    add_dependencies(${program}-resources rb_icons)
  endif()
  target_sources(${program} PRIVATE $<TARGET_OBJECTS:${program}-resources>)
endfunction()
