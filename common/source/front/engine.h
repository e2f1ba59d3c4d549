// The SOAP engine, as the service sets it up.
#pragma once

#include <memory>

#include "TarnixH.h"
#include "front/global_data.h"

struct EngineDeleter {
  void operator()(struct soap* ctx) const;
};
using Engine = std::unique_ptr<struct soap, EngineDeleter>;

// `global` must outlive the engine.
Engine createEngine(global_data_t& global);

// What comes with locales.
void enableLocaleModes(struct soap* ctx);
