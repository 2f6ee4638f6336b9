# Included by src/CMakeLists.txt, so the generated sources belong to the
# library's own directory. Builds the compiled-in resources under ":/Resources/": the key text, every
# shader enciphered with it, and the compiled translations.
set(res_dir ${CMAKE_CURRENT_LIST_DIR})
set(out_dir ${CMAKE_CURRENT_BINARY_DIR}/resources)
set(key_file ${res_dir}/mm.txt)

set(qrc_entries "    <file alias=\"mm.txt\">${key_file}</file>\n")
# The canvas's checkerboard: light and mid grey squares of 8 pixels.
string(APPEND qrc_entries "    <file alias=\"background3.png\">${res_dir}/background3.png</file>\n")
set(generated)

file(GLOB shader_sources CONFIGURE_DEPENDS ${res_dir}/shaders/*.glsl)
foreach(src IN LISTS shader_sources)
    get_filename_component(name ${src} NAME)
    set(out ${out_dir}/shaders/${name}_)
    add_custom_command(OUTPUT ${out}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${out_dir}/shaders
        COMMAND vell-encipher --glsl-codes ${key_file} ${src} ${out}
        DEPENDS vell-encipher ${key_file} ${src} ${PROJECT_SOURCE_DIR}/src/foundation/vellcodes.h
        COMMENT "Enciphering ${name}" VERBATIM)
    list(APPEND generated ${out})
    string(APPEND qrc_entries "    <file alias=\"${name}_\">${out}</file>\n")
endforeach()

set(VELL_LANGUAGES zh_CN zh_TW de_DE es_ES fr_FR ja_JP ko_KR)
set(ts_files)
foreach(lang IN LISTS VELL_LANGUAGES)
    list(APPEND ts_files ${res_dir}/translations/vellcore_${lang}.ts)
endforeach()
set_source_files_properties(${ts_files} PROPERTIES OUTPUT_LOCATION ${out_dir}/translations)
qt5_add_translation(qm_files ${ts_files})
foreach(qm IN LISTS qm_files)
    get_filename_component(name ${qm} NAME)
    string(APPEND qrc_entries "    <file alias=\"${name}\">${qm}</file>\n")
endforeach()
list(APPEND generated ${qm_files})

set(qrc ${out_dir}/vellcore.qrc)
file(CONFIGURE OUTPUT ${qrc} CONTENT
"<!DOCTYPE RCC><RCC version=\"1.0\">\n<qresource prefix=\"/Resources\">\n${qrc_entries}</qresource>\n</RCC>\n")

set(qrc_cpp ${out_dir}/qrc_vellcore.cpp)
add_custom_command(OUTPUT ${qrc_cpp}
    COMMAND Qt5::rcc --name vellcore --output ${qrc_cpp} ${qrc}
    DEPENDS ${qrc} ${key_file} ${res_dir}/background3.png ${generated}
    COMMENT "Compiling resources" VERBATIM)
set_source_files_properties(${qrc_cpp} PROPERTIES SKIP_AUTOMOC ON GENERATED ON)
# A custom command's rule belongs to the targets of its own directory, and
set(VELL_RESOURCE_SOURCES ${qrc_cpp})
