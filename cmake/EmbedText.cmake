# kx_embed_text(TARGET HEADER NAMESPACE SYMBOL FILE): makes the file's text the value of a std::string_view, which the
# header declares. Run as a script it writes the source file.
if(CMAKE_SCRIPT_MODE_FILE)
  file(READ "${FILE}" text)
  file(WRITE "${OUTPUT}" "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n\n"
                         "const std::string_view ${SYMBOL} =\n    R\"kx(${text})kx\";\n\n}  // namespace ${NAMESPACE}\n")
  return()
endif()

set(kx_embed_text_script "${CMAKE_CURRENT_LIST_FILE}")

function(kx_embed_text target header namespace symbol file)
  set(output "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp")
  add_custom_command(
    OUTPUT "${output}"
    COMMAND ${CMAKE_COMMAND} -DFILE=${file} -DOUTPUT=${output} -DHEADER=${header} -DNAMESPACE=${namespace}
            -DSYMBOL=${symbol} -P "${kx_embed_text_script}"
    DEPENDS "${file}" "${kx_embed_text_script}"
    COMMENT "Embed ${file}"
    VERBATIM)
  # A text is as long as it is.
  set_source_files_properties("${output}" PROPERTIES COMPILE_OPTIONS -Wno-overlength-strings)
  target_sources(${target} PRIVATE "${output}")
endfunction()
