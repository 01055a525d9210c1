# Which functions the module's OBJECTS ask for memory with, as NM tells: calloc and no other.
set(found "")
foreach(object ${OBJECTS})
  execute_process(COMMAND ${NM} -u ${object} OUTPUT_VARIABLE undefined COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "U (malloc|calloc|realloc|reallocarray|aligned_alloc|posix_memalign|strdup|strndup|asprintf|getline|_Zn[aw][A-Za-z0-9_]*)\n"
    used "${undefined}")
  list(APPEND found ${used})
endforeach()
string(REGEX MATCHALL "[^ \n;]+\n" found "${found}")
list(REMOVE_DUPLICATES found)
string(STRIP "${found}" found)
if(NOT found STREQUAL "calloc")
  message(FATAL_ERROR "the module asks for memory with: ${found}")
endif()
