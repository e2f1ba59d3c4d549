// The guard before the SOAP engine: what it refuses, and why.
#include "front/envelope_guard.h"

#include "handler_fixture.h"

namespace {

using Hooks = HandlerTest;

TEST_F(Hooks, NeedARequest) {
  char byte = 0;
  EXPECT_DEATH(myrecv(ctx_, &byte, 1), "glptr->pReq != __null");
  EXPECT_DEATH(mysend(ctx_, &byte, 1), "glptr->pReq != __null");
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

TEST(EnvelopeGuard, RefusesTheSameInPiecesOfAnySize) {
  const auto attributes = [](int count) { return repeated(" a='>'", count); };
  // Name, document, a part of the reason; an empty reason: accepted.
  const std::tuple<const char*, std::string, std::string> kCases[] = {
      {"plain", "<?xml version='1.0'?>\n<a b=\"x>'y\"><!-- - c --><![CDATA[<&]]]>&#xE9;</a>", ""},
      {"byte order mark", "\xEF\xBB\xBF <a/>", ""},
      {"text in four scripts", "<a>é 漢 😀 \xEF\xBF\xBD</a>", ""},
      {"siblings of any number", "<a>" + repeated("<b/>", 49000) + "</a>", ""},
      {"deepest", repeated("<a>", 64) + repeated("</a>", 64), ""},
      {"most attributes", "<a" + attributes(64) + "/>", ""},
      {"most open attributes", repeated("<a" + attributes(64) + ">", 4), ""},
      {"attributes of closed elements",
       repeated("<b" + attributes(64) + "/><b" + attributes(64) + "></b>", 50), ""},
      {"not an XML document", "hello", "not an XML document"},
      {"too deep", repeated("<a>", 65), "nests more than"},
      {"too many elements", "<a>" + repeated("<b/>", 50000), "elements"},
      {"too many attributes", "<a" + attributes(65) + "/>", "more than 64 attributes"},
      {"too many open attributes", repeated("<a" + attributes(60) + ">", 5), "256 attributes"},
      {"document type", "<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>", "document type"},
      {"processing instruction", "<a><?php x?></a>", "processing instruction"},
      {"dashes in a comment", "<a><!-- x -- <b> --></a>", "comment"},
      {"tag in a tag", "<a <b/>", "malformed tag"},
      {"tag in a value", "<a b='<c/>'/>", "malformed tag"},
      {"text after the slash", "<a / b='c'>", "malformed tag"},
      {"stray byte", "<a>\x80</a>", "UTF-8"},
      {"overlong form", "<a>\xC0\xAF</a>", "UTF-8"},
      {"surrogate", "<a>\xED\xA0\x80</a>", "UTF-8"},
      {"beyond Unicode", "<a>\xF4\x90\x80\x80</a>", "UTF-8"},
      {"cut character", "<a>\xE6\xBC</a>", "UTF-8"},
      {"control character", "<a>\x01</a>", "control character"},
      {"reference to a control character", "<a b='&#1;'/>", "does not allow"},
      {"reference to a surrogate", "<a>&#xD800;</a>", "does not allow"},
      {"reference that overflows", "<a>&#99999999999999999999;</a>", "does not allow"}};
  for (const auto& [name, document, reason] : kCases) {
    for (const std::size_t piece : {document.size(), std::size_t{1}, std::size_t{2}}) {
      const std::string told = refusal(document, piece);
      EXPECT_EQ(told.empty(), reason.empty()) << name << ", pieces of " << piece << ": " << told;
      EXPECT_NE(told.find(reason), std::string::npos) << name << ": " << told;
    }
  }
}

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
