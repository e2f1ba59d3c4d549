// The envelope server: bytes and a caller in, bytes out.
#include "front/envelope_server.h"

#include <cstdlib>

#include "handler_fixture.h"
#include "service_fixture.h"

namespace {

constexpr const char* kConnections = "/Connections";
const std::string kWhoAmI = envelope("whoAmI", "", "TarnixWSVK");

class EnvelopeServer : public HandlerTest {
 protected:
  EnvelopeServer() {
    import({});
    global_.connxns.emplace(global_.cdsApi, kConnections, __psyslog);
    global_.localesMap.emplace("en_US", std::locale::classic());
    installHooks(ctx_);
  }

  std::string serve(const Caller& caller, const std::string& request = kWhoAmI) {
    std::string reply = serveBytes(ctx_, caller, request);
    EXPECT_EQ(global_.pReq, nullptr);
    EXPECT_FALSE(global_.caller.user || global_.caller.address) << "nobody is served any more";
    EXPECT_EQ(std::getenv("REMOTE_USER"), nullptr);
    EXPECT_EQ(std::getenv("REMOTE_ADDR"), nullptr);
    return reply;
  }
  static Texts names(const std::string& reply) { return elements(reply, "result"); }
};

// What the environment said when the reply was complete, and a way to fail.
class Witness : public ByteSource, public ByteSink {
 public:
  explicit Witness(std::string request = kWhoAmI) : request_(std::move(request)) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const std::size_t count = request_.copy(buffer, size, taken_);
    taken_ += count;
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
  // Has itself at both ends.
  Exchange exchange() { return {this, this, 0, ""}; }
  bool isDrained() const { return taken_ == request_.size(); }

  bool fails = false;
  int closed = 0;
  std::string reply;
  std::string userAtEnd;

 private:
  std::string request_;
  std::size_t taken_ = 0;
};

TEST_F(EnvelopeServer, KnowsTheCallerOnlyWhileItServesHim) {
  EXPECT_EQ(names(serve({"admin", "192.0.2.1"})), Texts{"admin"});
  EXPECT_EQ(names(serve({std::nullopt, "192.0.2.1"})), Texts{""});
  setenv("REMOTE_USER", "root", 1);
  EXPECT_EQ(names(serve({std::nullopt, "192.0.2.1"})), Texts{""}) << "of the shell's";
}

TEST_F(EnvelopeServer, TheEnvironmentNamesTheCallerForTheRights) {
  for (const std::optional<std::string>& user : {std::optional<std::string>("admin"), {}}) {
    Witness witness;
    Exchange exchange = witness.exchange();
    serveExchange(ctx_, {user, "192.0.2.1"}, exchange, false);
    EXPECT_EQ(witness.userAtEnd, user.value_or("-"));
    EXPECT_EQ(witness.closed, 1);
  }
}

TEST_F(EnvelopeServer, ALongNameIsCutInTheTableOfConnections) {
  const std::string name(100, 'n');
  EXPECT_EQ(names(serve({name, "192.0.2.1"})), Texts{name});
  global_.connxns->Publish();
  EXPECT_EQ(text(global_.cdsApi, "/Connections/1/User"), name.substr(0, 64));
}

TEST_F(EnvelopeServer, HeadersRefuseABodyThatWouldDo) {
  const auto served = [this](std::uint64_t bytes, const std::string& encoding) {
    Witness witness;
    Exchange exchange = witness.exchange();
    exchange.announcedBytes = bytes;
    exchange.encoding = encoding;
    serveExchange(ctx_, {"admin", "192.0.2.1"}, exchange, false);
    EXPECT_TRUE(witness.isDrained());
    return witness.reply;
  };
  EXPECT_TRUE(contains(served((1 << 20) + 1, ""), "larger than 1 MiB"));
  EXPECT_TRUE(contains(served(0, "gzip"), "Only UTF-8, uncompressed"));
  EXPECT_EQ(names(served(1 << 20, "Identity")), Texts{"admin"});
}

TEST_F(EnvelopeServer, WhenACallerIsGoneTheNextOneIsServed) {
  Witness gone;
  gone.fails = true;
  Exchange exchange = gone.exchange();
  serveExchange(ctx_, {"admin", "192.0.2.1"}, exchange, false);
  EXPECT_EQ(gone.closed, 1);
  EXPECT_EQ(names(serve({"admin", "192.0.2.1"})), Texts{"admin"});
}

TEST_F(EnvelopeServer, TheHooksNeedARequest) {
  char byte = 0;
  EXPECT_DEATH(myrecv(ctx_, &byte, 1), "glptr->pReq != __null");
  EXPECT_DEATH(mysend(ctx_, &byte, 1), "glptr->pReq != __null");
}

}  // namespace
