# vell_add_plugin(TARGET SOURCES file.cpp ... SHADERS file.glsl ...
#                 [TRANSLATIONS TARGET_<code>.ts ...]
#                 [OUTPUT_DIRECTORY dir] [INSTALL_DESTINATION dir])
#
# Builds a filter plug-in: a shared object TARGET.mt (no "lib" prefix) with
# each shader enciphered by the library's resource cipher and compiled in as
# the resource ":/TARGET/<shader file name>_", the path the tool hands the
# tool base as its shaderPath. Each translation is compiled and put in as
# ":/TARGET/<name>.qm", which the plug-in's setInternational() loads with
# getTranslater(). After changing a text, refresh the .ts files with
#   lupdate -no-obsolete -locations none . -ts translations/*.ts The tool manager loads plug-ins from the
# folders one level inside its tools path, so a plug-in goes into a folder
# of its own: OUTPUT_DIRECTORY/TARGET/ in the build, and
# INSTALL_DESTINATION/TARGET/ when installed (when given).
#
# Needs VELL_ENCIPHER (the vell-encipher program or target), VELL_CIPHER_KEY
# (the library's key file) and VELL_PLUGIN_LINK (the library target), which
# the library's build and its installed package both set.
function(vell_add_plugin target)
    cmake_parse_arguments(PLUGIN "" "OUTPUT_DIRECTORY;INSTALL_DESTINATION" "SOURCES;SHADERS;TRANSLATIONS" ${ARGN})
    set(resource_dir ${CMAKE_CURRENT_BINARY_DIR}/${target}_resources)
    set(qrc_entries "")
    set(generated)
    foreach(shader IN LISTS PLUGIN_SHADERS)
        get_filename_component(shader_path ${shader} ABSOLUTE)
        get_filename_component(shader_name ${shader} NAME)
        set(out ${resource_dir}/${shader_name}_)
        add_custom_command(OUTPUT ${out}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${resource_dir}
            COMMAND ${VELL_ENCIPHER} ${VELL_CIPHER_KEY} ${shader_path} ${out}
            DEPENDS ${shader_path} ${VELL_CIPHER_KEY}
            COMMENT "Enciphering ${shader_name}" VERBATIM)
        list(APPEND generated ${out})
        string(APPEND qrc_entries "    <file alias=\"${shader_name}_\">${out}</file>\n")
    endforeach()
    if(PLUGIN_TRANSLATIONS)
        find_package(Qt5 REQUIRED COMPONENTS LinguistTools)
        set(ts_files)
        foreach(ts IN LISTS PLUGIN_TRANSLATIONS)
            get_filename_component(ts_path ${ts} ABSOLUTE)
            list(APPEND ts_files ${ts_path})
        endforeach()
        set_source_files_properties(${ts_files} PROPERTIES OUTPUT_LOCATION ${resource_dir})
        qt5_add_translation(qm_files ${ts_files})
        foreach(qm IN LISTS qm_files)
            get_filename_component(qm_name ${qm} NAME)
            string(APPEND qrc_entries "    <file alias=\"${qm_name}\">${qm}</file>\n")
        endforeach()
        list(APPEND generated ${qm_files})
    endif()
    set(qrc ${resource_dir}/${target}.qrc)
    file(CONFIGURE OUTPUT ${qrc} CONTENT
        "<!DOCTYPE RCC><RCC version=\"1.0\">\n<qresource prefix=\"/${target}\">\n${qrc_entries}</qresource>\n</RCC>\n")
    qt5_add_resources(resources ${qrc})
    set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS "${generated}")

    add_library(${target} MODULE ${PLUGIN_SOURCES} ${resources})
    target_link_libraries(${target} PRIVATE ${VELL_PLUGIN_LINK})
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".mt" AUTOMOC ON)
    if(PLUGIN_OUTPUT_DIRECTORY)
        set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PLUGIN_OUTPUT_DIRECTORY}/${target})
    endif()
    if(PLUGIN_INSTALL_DESTINATION)
        install(TARGETS ${target} LIBRARY DESTINATION ${PLUGIN_INSTALL_DESTINATION}/${target})
    endif()
endfunction()
