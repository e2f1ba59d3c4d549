// Labels of states, translated: what a client reads in place of a number.
#pragma once

#include <locale>
#include <string>

#include "front/global_data.h"

// Label of a Boolean node's state. Untranslated while locales are off.
std::string boolLabel(_global_data_t* glptr, const std::string& nodePath, bool state,
                      const std::locale& locale);

// Replaces `text` by the label of a multistate node's state. False, and `text` stays, for a node
// that is not multistate.
bool stateLabel(_global_data_t* glptr, const std::string& nodePath, int state,
                const std::locale& locale, std::string& text);
