// Handlers without a process around them, on a store of the test's own.
#pragma once

#include "TarnixH.h"
#include "front/engine.h"
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

 private:
  toolkit::CSysLog log_{"handler_test", -1, false, false, false};

 protected:
  _global_data_t global_;

 private:
  SoapContext engine_ = createEngine(global_);

 protected:
  struct soap* const ctx_ = engine_.get();
};
