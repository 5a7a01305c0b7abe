# Turns a file into a C++ source holding its bytes, so that a program carries
# the file instead of reading it at run time.
#
#   cmake -DINPUT=file -DOUTPUT=file.cpp -DNAMESPACE=a::b -DSYMBOL=kName -P EmbedFile.cmake
#
# defines `const unsigned char SYMBOL[]` (the bytes and a terminating zero)
# and `const size_t SYMBOL##Size` (the byte count without the zero).
file(READ "${INPUT}" bytes HEX)
string(LENGTH "${bytes}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," array "${bytes}")
# Sixteen bytes a line.
string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){16})" "\\1\n    " array "${array}")
string(REPLACE "::" ";" namespaces "${NAMESPACE}")
set(open "")
set(close "")
foreach(ns ${namespaces})
    string(APPEND open "namespace ${ns} {\n")
    string(PREPEND close "} // namespace ${ns}\n")
endforeach()
get_filename_component(input_name "${INPUT}" NAME)
file(WRITE "${OUTPUT}.tmp"
    "// Generated from ${input_name} at build time; do not edit.\n"
    "#include <cstddef>\n\n"
    "${open}\n"
    "extern const unsigned char ${SYMBOL}[];\n"
    "extern const size_t ${SYMBOL}Size;\n"
    "const unsigned char ${SYMBOL}[] = {\n    ${array}0x00};\n"
    "const size_t ${SYMBOL}Size = ${size};\n\n"
    "${close}")
file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
