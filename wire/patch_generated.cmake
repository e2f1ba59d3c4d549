# Edits the generated code where the engine's rules differ from the interface's. Called as
#   cmake -DDIR=<folder of the generated files> -P patch_generated.cmake
# Every edit must find what it edits: a new release of the generator then fails the build here, not
# a client later.

function(edit_file file pattern replacement what)
  file(READ ${DIR}/${file} text)
  string(REGEX REPLACE "${pattern}" "${replacement}" edited "${text}")
  if(edited STREQUAL text)
    message(FATAL_ERROR "${file}: nothing to edit for: ${what}")
  endif()
  file(WRITE ${DIR}/${file} "${edited}")
endfunction()

# An integer outside the listed values is accepted and kept: without a fixed underlying type such a
# value would be undefined behaviour.
edit_file(TarnixStub.h "\nenum ([A-Za-z0-9_]+) {" "\nenum \\1 : int {" "type under the enumerations")
edit_file(TarnixC.cpp
  "soap_s2int\\(soap, s, &n\\) \\|\\| n < [-0-9]+ \\|\\| n > [-0-9]+\\)"
  "soap_s2int(soap, s, &n))"
  "range check of enumerations")

# An unknown name in a bit set is a type error.
edit_file(TarnixC.cpp
  "\\(void\\)soap[^\n]*\n[\t ]*\\*a = \\(enum ([A-Za-z0-9_]+)\\)soap_code_bits\\((soap_codes_[A-Za-z0-9_]+), s\\)"
  "LONG64 bits = 0;\n\tif (!s || readBitSet(soap, \\2, s, &bits))\n\t\treturn soap->error;\n\t*a = (enum \\1)bits"
  "reading of bit sets")
edit_file(TarnixC.cpp "#include \"TarnixH.h\""
  "#include \"TarnixH.h\"\n#include \"enumerations.h\"\n#include \"leaf_elements.h\"\n#include \"lists.h\"\n#include \"texts.h\""
  "includes of our own readers and writers")

# Several elements of a bit set, or of a list, count together: some toolkits send one for each name or item.
edit_file(TarnixC.cpp
  "soap_flag_([A-Za-z0-9]+) && soap->error == SOAP_TAG_MISMATCH\\)[\n\t ]*{[\t ]*if \\((soap_in_nsc1__SubscribeLogOptions\\(soap, [^,]*, &(a->[A-Za-z0-9_:]+),[^\n]*)\n[^\n]*--;"
  "soap->error == SOAP_TAG_MISMATCH)\n\t\t\t{\tconst int before = soap_flag_\\1 > 0 ? 0 : \\3;\n\t\t\t\tif (\\2\n\t\t\t\t{\tsoap_flag_\\1 = 0;\n\t\t\t\t\t\\3 = (enum nsc1__SubscribeLogOptions)(\\3 | before);"
  "repeated elements of bit sets")
edit_file(TarnixC.cpp
  "soap_flag_([A-Za-z0-9]+) && soap->error == SOAP_TAG_MISMATCH\\)[\n\t ]*{[\t ]*if \\((soap_in_PointerTonsc1__ArrayOf(String|NodeSubscription|AckRequest)\\(soap, [^,]*, &(a->[A-Za-z0-9_:]+),[^\n]*)\n[^\n]*--;"
  "soap->error == SOAP_TAG_MISMATCH)\n\t\t\t{\tauto* const before = \\4;\n\t\t\t\tif (\\2\n\t\t\t\t{\tsoap_flag_\\1 = 0;\n\t\t\t\t\tunite(before, \\4);"
  "repeated elements of lists")

# A text may come in an encoding that its type names.
edit_file(TarnixC.cpp
  "if \\(!\\(t = soap_string_in\\(soap, 1, ([-0-9]+), -1, NULL\\)\\)\\)\n([\t ]*)return NULL;\n([\t ]*)s->assign\\(t\\);"
  "if (!(t = soap_string_in(soap, 1, \\1, -1, NULL)) || decodeText(soap, t, *s))\n\\2return NULL;"
  "reading of texts")

# Booleans are sent as numbers are, see leaf_elements.h.
edit_file(TarnixC.cpp
  "if \\(soap_element_begin_out\\(soap, tag, (soap_embedded_id\\(soap, id, a, SOAP_TYPE_bool\\)), type\\)[^\n]*\n[^\n]*\n[^\n]*;"
  "return sendLeaf(soap, tag, \\1, type, soap_bool2s(soap, *a));"
  "writing of Booleans")

# A body that cannot be read is answered with its own error and not as an unknown operation.
edit_file(TarnixServer.cpp "\\(void\\)soap_peek_element\\(soap\\);"
  "if (soap_peek_element(soap))\n\t\treturn soap->error;\n\tbeginOperation(soap);"
  "failed look at the first element of the body")
edit_file(TarnixServer.cpp "#include \"TarnixH.h\"" "#include \"TarnixH.h\"\n#include \"elements.h\""
  "include of our own rule for an operation's elements")

file(READ ${DIR}/TarnixC.cpp text)
if(text MATCHES "soap_s2int\\(soap, s, &n\\) \\|\\|" OR text MATCHES "= \\(enum [A-Za-z0-9_]+\\)soap_code_bits")
  message(FATAL_ERROR "TarnixC.cpp: an enumeration is still read by the generator's own rule")
endif()
