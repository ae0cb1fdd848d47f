# Writes the entries of a string table script as C++ initialisers "{IDS_NAME, u"text"},", so that a
# tool shows the texts of the language module without loading it. RC's "" becomes \".
#   cmake -DINPUT=strings.rc -DOUTPUT=strings.inc -P strings_table.cmake
file(READ "${INPUT}" content)
string(REPLACE ";" "@SEMICOLON@" content "${content}")  # list separators inside texts
string(REPLACE "\n" ";" lines "${content}")
set(out "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[ \t]*(IDS_[A-Z0-9_]+)[ \t]+L\"(.*)\"[ \t\r]*$")
    set(id "${CMAKE_MATCH_1}")
    set(text "${CMAKE_MATCH_2}")
    string(REPLACE "\"\"" "\\\"" text "${text}")
    string(APPEND out "    {${id}, u\"${text}\"},\n")
  endif()
endforeach()
string(REPLACE "@SEMICOLON@" ";" out "${out}")
file(WRITE "${OUTPUT}" "${out}")
