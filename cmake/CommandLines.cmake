# Where options are declared the library's templates are most of what is compiled, and nothing that runs often.
function(command_line_sources)
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O0)
endfunction()
