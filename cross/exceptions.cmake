# EXCEPTIONS: the names in exceptions.txt, as a filter for gtest.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/exceptions.txt EXCEPTIONS REGEX "^[^#]")
list(TRANSFORM EXCEPTIONS REPLACE "^[^ ]+ " "")
list(JOIN EXCEPTIONS ":" EXCEPTIONS)
set(EXCEPTIONS "-${EXCEPTIONS}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/exceptions.txt)
