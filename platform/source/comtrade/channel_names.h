// The names by which the analog channels of a record are asked for.
#pragma once

#include <vector>

#include "toolkit/comtrade.h"

namespace toolkit::comtrade {

// Gives each channel a name of its own: of those with one name the first keeps it, the next ones
// are "name#2", "name#3". A name that the record itself has is left to the channel that bears it;
// who cannot be told apart by these forms has its number as name, "#7".
void makeNamesUnique(std::vector<CWaveAnalogChannelConfig>& channels);

}  // namespace toolkit::comtrade
