// The envelope server, bytes and a caller in, bytes out; and the guard before it.
#include "front/envelope_server.h"

#include <cstdlib>

#include "front/envelope_guard.h"
#include "handler_fixture.h"

namespace {

const std::string kWhoAmI = envelope("whoAmI", "", "TarnixWSVK");

// Both ends of an exchange: the request, and what became of it.
struct Witness : public ByteSource, public ByteSink {
  std::size_t read(char* buffer, std::size_t size) override {
    const std::size_t count = kWhoAmI.copy(buffer, size, taken);
    taken += count;
    return count;
  }
  bool write(const char* bytes, std::size_t size) override {
    reply.append(bytes, size);
    return !fails;
  }
  void close() override {
    ++closed;
    const char* user = std::getenv("REMOTE_USER");
    userAtEnd = user == nullptr ? "-" : user;
  }

  bool fails = false;
  std::size_t taken = 0;
  int closed = 0;
  std::string reply;
  std::string userAtEnd;
};

class EnvelopeServer : public HandlerTest {
 protected:
  EnvelopeServer() {
    import({});
    global_.connxns.emplace(global_.cdsApi, "/Connections", __psyslog);
    global_.localesMap.emplace("en_US", std::locale::classic());
    installHooks(ctx_);
  }

  std::string serve(const Caller& caller) {
    std::string reply = serveBytes(ctx_, caller, kWhoAmI);
    EXPECT_EQ(global_.pReq, nullptr);
    EXPECT_FALSE(global_.caller.user || global_.caller.address) << "nobody is served any more";
    EXPECT_EQ(std::getenv("REMOTE_USER"), nullptr);
    EXPECT_EQ(std::getenv("REMOTE_ADDR"), nullptr);
    return reply;
  }
  Witness served(const std::optional<std::string>& user, bool fails = false,
                 std::uint64_t announced = 0, const std::string& encoding = "") {
    Witness witness;
    witness.fails = fails;
    Exchange exchange = {&witness, &witness, announced, encoding};
    serveExchange(ctx_, {user, "192.0.2.1"}, exchange, false);
    EXPECT_EQ(witness.closed, 1);
    return witness;
  }
  static Texts names(const std::string& reply) { return elements(reply, "result"); }
};

TEST_F(EnvelopeServer, KnowsTheCallerOnlyWhileItServesHim) {
  EXPECT_EQ(names(serve({"admin", "192.0.2.1"})), Texts{"admin"});
  EXPECT_EQ(names(serve({std::nullopt, "192.0.2.1"})), Texts{""});
  setenv("REMOTE_USER", "root", 1);
  EXPECT_EQ(names(serve({std::nullopt, "192.0.2.1"})), Texts{""}) << "of the shell's";
  // The rights follow the environment.
  EXPECT_EQ(served("admin").userAtEnd, "admin");
  EXPECT_EQ(served(std::nullopt).userAtEnd, "-");
  served("admin", true);
  EXPECT_EQ(names(serve({"admin", "192.0.2.1"})), Texts{"admin"}) << "after one who is gone";
}

TEST_F(EnvelopeServer, ALongNameIsCutInTheTableOfConnections) {
  const std::string name(100, 'n');
  EXPECT_EQ(names(serve({name, "192.0.2.1"})), Texts{name});
  global_.connxns->Publish();
  EXPECT_EQ(text(global_.cdsApi, "/Connections/1/User"), name.substr(0, 64));
}

TEST_F(EnvelopeServer, HeadersRefuseABodyThatWouldDo) {
  const auto reply = [this](std::uint64_t announced, const std::string& encoding) {
    const Witness witness = served("admin", false, announced, encoding);
    EXPECT_EQ(witness.taken, kWhoAmI.size());
    return witness.reply;
  };
  EXPECT_TRUE(contains(reply((1 << 20) + 1, ""), "larger than 1 MiB"));
  EXPECT_TRUE(contains(reply(0, "gzip"), "Only UTF-8, uncompressed"));
  EXPECT_EQ(names(reply(1 << 20, "Identity")), Texts{"admin"});
}

TEST_F(EnvelopeServer, TheHooksNeedARequest) {
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
