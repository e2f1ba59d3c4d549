// The SOAP engine, as the service sets it up.
#pragma once

#include "TarnixH.h"
#include "front/global_data.h"
#include "soap_context.h"

// `global` must outlive the engine.
SoapContext createEngine(_global_data_t& global);

// What comes with locales.
void enableLocaleModes(struct soap* ctx);
