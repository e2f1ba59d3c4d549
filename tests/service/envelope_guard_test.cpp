#include "envelope_guard.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// The reason for the refusal, or empty; the document arrives in pieces of the given size.
std::string refusal(const std::string& document, std::size_t piece) {
  EnvelopeGuard guard;
  for (std::size_t at = 0; at < document.size(); at += piece) {
    if (!guard.accept(std::string_view(document).substr(at, piece))) {
      return guard.reason();
    }
  }
  return "";
}

struct Case {
  const char* name;
  std::string document;
  const char* reason;  // part of it; empty: accepted
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

class GuardCases : public testing::TestWithParam<Case> {};

TEST_P(GuardCases, DoNotDependOnThePieces) {
  const Case& c = GetParam();
  for (const std::size_t piece :
       {c.document.size(), std::size_t{1}, std::size_t{2}, std::size_t{4}}) {
    const std::string reason = refusal(c.document, piece);
    if (*c.reason == '\0') {
      EXPECT_EQ(reason, "") << c.name << ", pieces of " << piece;
    } else {
      EXPECT_NE(reason.find(c.reason), std::string::npos) << c.name << ": " << reason;
    }
  }
}

std::string attributes(std::size_t count) {
  return repeated(" a='>'", count);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, GuardCases,
    testing::Values(
        Case{"plain", "<?xml version='1.0'?>\n<a b=\"x>'y\"><!-- - c --><![CDATA[<&]]]>&#xE9;</a>",
             ""},
        Case{"byte order mark", "\xEF\xBB\xBF <a/>", ""},
        Case{"text in four scripts", "<a>é 漢 😀 \xEF\xBF\xBD</a>", ""},
        Case{"siblings of any number", "<a>" + repeated("<b/>", 49000) + "</a>", ""},
        Case{"deepest", repeated("<a>", 64) + repeated("</a>", 64), ""},
        Case{"most attributes", "<a" + attributes(64) + "/>", ""},
        Case{"most open attributes", repeated("<a" + attributes(64) + ">", 4), ""},
        Case{"attributes of closed elements",
             repeated("<b" + attributes(64) + "/><b" + attributes(64) + "></b>", 50), ""},
        Case{"not an XML document", "hello", "not an XML document"},
        Case{"too deep", repeated("<a>", 65), "nests more than"},
        Case{"too many elements", "<a>" + repeated("<b/>", 50000), "elements"},
        Case{"too many attributes", "<a" + attributes(65) + "/>", "more than 64 attributes"},
        Case{"too many open attributes", repeated("<a" + attributes(60) + ">", 5),
             "256 attributes"},
        Case{"document type", "<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>", "document type"},
        Case{"document type in the body", "<a><!DOCTYPE b></a>", "document type"},
        Case{"processing instruction", "<a><?php x?></a>", "processing instruction"},
        Case{"style sheet", "<?xml-stylesheet?><?xml?><a/>", "processing instruction"},
        Case{"dashes in a comment", "<a><!-- x -- <b> --></a>", "comment"},
        Case{"tag in a tag", "<a <b/>", "malformed tag"},
        Case{"tag in a value", "<a b='<c/>'/>", "malformed tag"},
        Case{"text after the slash", "<a / b='c'>", "malformed tag"},
        Case{"stray byte", "<a>\x80</a>", "UTF-8"},
        Case{"overlong form", "<a>\xC0\xAF</a>", "UTF-8"},
        Case{"overlong form of three bytes", "<a>\xE0\x80\xAF</a>", "UTF-8"},
        Case{"surrogate", "<a>\xED\xA0\x80</a>", "UTF-8"},
        Case{"beyond Unicode", "<a>\xF4\x90\x80\x80</a>", "UTF-8"},
        Case{"cut character", "<a>\xE6\xBC</a>", "UTF-8"},
        Case{"control character", "<a>\x01</a>", "control character"},
        Case{"reference to a control character", "<a b='&#1;'/>", "does not allow"},
        Case{"reference to NUL", "<a>&#x0;</a>", "does not allow"},
        Case{"reference to a surrogate", "<a>&#xD800;</a>", "does not allow"},
        Case{"reference that overflows", "<a>&#99999999999999999999;</a>", "does not allow"}),
    [](const auto& info) {
      std::string name = info.param.name;
      for (char& c : name) {
        c = c == ' ' ? '_' : c;
      }
      return name;
    });

TEST(EnvelopeGuard, RefusesAByteAboveTheLimitAndStaysRefused) {
  EnvelopeGuard guard;
  const std::string most = "<a>" + std::string(limits::kMaxBodyBytes - 3, 'x');
  EXPECT_TRUE(guard.accept(most));
  EXPECT_FALSE(guard.accept("x"));
  EXPECT_FALSE(guard.accept(""));
  guard.reset();
  EXPECT_TRUE(guard.accept("<a/>"));
}

}  // namespace
