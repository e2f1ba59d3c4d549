// The envelope server: bytes and a caller in, bytes out.
#include "front/envelope_server.h"

#include <cstdlib>

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
}

TEST_F(EnvelopeServer, TheEnvironmentNamesTheCallerForTheRights) {
  EXPECT_EQ(served("admin").userAtEnd, "admin");
  EXPECT_EQ(served(std::nullopt).userAtEnd, "-");
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

TEST_F(EnvelopeServer, WhenACallerIsGoneTheNextOneIsServed) {
  served("admin", true);
  EXPECT_EQ(names(serve({"admin", "192.0.2.1"})), Texts{"admin"});
}

TEST_F(EnvelopeServer, TheHooksNeedARequest) {
  char byte = 0;
  EXPECT_DEATH(myrecv(ctx_, &byte, 1), "glptr->pReq != __null");
  EXPECT_DEATH(mysend(ctx_, &byte, 1), "glptr->pReq != __null");
}

}  // namespace
