# Where options are declared, most of what is compiled is the library's templates, and none of it runs often.
function(command_line_sources)
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O0)
endfunction()
