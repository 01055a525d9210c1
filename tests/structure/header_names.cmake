# The name that a header is included by is no other header's, and no system header's. Its guard spells its path. Nobody
# climbs over a wall with a path through the parent folder, and no line is wider than the formatter makes code. FOLDER holds `room_folders`, the
# include directories of the tree; SOURCE is the tree.
cmake_policy(SET CMP0057 NEW)

file(READ ${FOLDER}/room_folders folders)
string(REGEX REPLACE "/\\.(;|$)" "\\1" folders "${folders}")
list(REMOVE_DUPLICATES folders)
list(FILTER folders INCLUDE REGEX "^${SOURCE}/")

set(names "")
set(headers "")
set(source "")
foreach(folder IN LISTS folders)
  file(GLOB_RECURSE below RELATIVE ${folder} ${folder}/*.h)
  foreach(name IN LISTS below)
    if(name IN_LIST names)
      message(SEND_ERROR "two headers are included as ${name}; one is in ${folder}")
    endif()
    list(APPEND names ${name})
    list(APPEND headers ${folder}/${name})
    string(APPEND source "#if __has_include(<${name}>)\n#error ${name} is a header of the system\n#endif\n")
  endforeach()
endforeach()

# Every header of the product lies in one of the folders.
file(GLOB_RECURSE all ${SOURCE}/feature/*.h ${SOURCE}/include/*.h ${SOURCE}/platform/*.h ${SOURCE}/protocol/*.h
  ${SOURCE}/operator_input/*.h ${SOURCE}/switchd/*.h ${SOURCE}/vsanctl/*.h)
foreach(header IN LISTS all)
  if(NOT header IN_LIST headers)
    message(SEND_ERROR "${header} is in no include directory")
  endif()
endforeach()

# Guards spell the path, from the folder on by which a header is included when that is a folder of public headers.
foreach(header IN LISTS all)
  file(RELATIVE_PATH guard ${SOURCE} ${header})
  string(REGEX REPLACE "^(platform/)?include/" "" guard ${guard})
  string(TOUPPER ${guard} guard)
  string(REGEX REPLACE "[/.]" "_" guard ${guard})
  file(READ ${header} text)
  string(FIND "${text}" "#ifndef ${guard}\n#define ${guard}\n" at)
  if(at EQUAL -1)
    message(SEND_ERROR "${header}: its guard is not ${guard}")
  endif()
endforeach()

file(GLOB_RECURSE sources ${SOURCE}/feature/*.cpp ${SOURCE}/platform/*.cpp ${SOURCE}/operator_input/*.cpp
  ${SOURCE}/switchd/*.cpp ${SOURCE}/vsanctl/*.cpp)
foreach(file IN LISTS all sources)
  file(STRINGS ${file} climbing REGEX "#include \"([^\"]*/)?\\.\\./")
  file(STRINGS ${file} wide REGEX "^.........................................................................................................................")
  if(climbing)
    message(SEND_ERROR "${file}: ${climbing}")
  endif()
  if(wide)
    message(SEND_ERROR "${file}: wider than 120 columns: ${wide}")
  endif()
endforeach()

# The control: the compiler does say so when a name is the system's.
foreach(control "" "#if __has_include(<stdio.h>)\n#error stdio.h is a header of the system\n#endif\n")
  file(WRITE ${FOLDER}/header_names.cpp "${source}${control}")
  execute_process(COMMAND ${COMPILER} -std=c++20 -fsyntax-only ${FOLDER}/header_names.cpp
    RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(control STREQUAL "" AND NOT status EQUAL 0)
    message(SEND_ERROR "${errors}")
  elseif(NOT control STREQUAL "" AND status EQUAL 0)
    message(SEND_ERROR "the compiler finds no system header")
  endif()
endforeach()
