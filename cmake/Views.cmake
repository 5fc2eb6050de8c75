# Compiles the QML files of a module into it, as the QML module URI; the module's classes marked for QML come with it.
#
#   add_views(TARGET URI QML_FILES …)
#
# Whoever links the module has the views: no plugin is loaded at run time.
function(add_views target uri)
  cmake_parse_arguments(V "" "" "QML_FILES" ${ARGN})
  string(REPLACE "." "/" folder ${uri})
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}) # for the generated registration of types
  qt_add_qml_module(${target} URI ${uri} VERSION 1.0 NO_PLUGIN RESOURCE_PREFIX /qml DEPENDENCIES QtQuick
    OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${folder} QML_FILES ${V_QML_FILES})

  # Generated code is not held to our warnings.
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    if(source MATCHES "/\\.rcc/|qmltyperegistrations")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -w)
    endif()
  endforeach()
endfunction()
