// Handlers without a process around them, on a store of the test's own.
#pragma once

#include "TarnixH.h"
#include "front/engine.h"
#include "front/envelope_server.h"
#include "front/global_data.h"
#include "service_fixture.h"

class HandlerTest : public StoreTest {
 protected:
  HandlerTest() {
    __psyslog = &log_;
    // Everybody may do everything here: no test may reach the machine's own reboot.
    global_.execute = [](const char* /*path*/, char* const* /*arguments*/) { return -1; };
  }
  ~HandlerTest() override {
    engine_.reset();
    __psyslog = nullptr;
  }
  void import(Leaves leaves) {
    StoreTest::import(std::move(leaves));
    ASSERT_EQ(global_.cdsApi.init(), 0) << global_.cdsApi.last_error();
  }
  // The reply to a whole request.
  std::string serve(const std::string& body, const std::string& user = "operator") {
    if (!global_.connxns) {
      global_.connxns.emplace(global_.cdsApi, "/Connections", __psyslog);
      global_.localesMap.emplace("en_US", std::locale::classic());
      installHooks(ctx_);
    }
    return serveBytes(ctx_, {user, "192.0.2.1"}, body);
  }

 private:
  toolkit::CSysLog log_{"handler_test", -1, false, false, false};

 protected:
  _global_data_t global_;

 private:
  SoapContext engine_ = createEngine(global_);

 protected:
  struct soap* const ctx_ = engine_.get();
};
