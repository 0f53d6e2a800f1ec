# Turns a text file into a C++ source defining cx::defaultSetupText(), a std::string_view of it.
file(READ ${INPUT} content HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
file(WRITE ${OUTPUT}
"#include <string_view>\nnamespace cx {\nnamespace {\nconstexpr char kText[] = {${bytes} 0};\n}\n"
"std::string_view defaultSetupText() { return {kText, sizeof(kText) - 1}; }\n}  // namespace cx\n")
