// A source of values for bench/monitor: writes so many of the points /Bench<i>/P<k>, in turn, ten
// times a second, until it is told to stop.
//
//   value_source DEVICES POINTS WRITES
#include <cstdio>
#include <cstdlib>
#include <string>

#include "toolkit/beat.h"
#include "toolkit/leaf_batch.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "value_source DEVICES POINTS WRITES\n");
    return 1;
  }
  const int devices = std::atoi(argv[1]);
  const int points = std::atoi(argv[2]);
  const int writes = std::atoi(argv[3]);
  toolkit::CBeat beat(10);
  toolkit::CCds cds;
  if (cds.init() != 0) {
    std::fprintf(stderr, "value_source: %s\n", cds.last_error().c_str());
    return 1;
  }
  int next = 0;
  do {
    toolkit::CLeafBatch batch;
    for (int i = 0; i < writes; ++i, ++next) {
      // From one device to the next, so that none is silent.
      const int device = next % devices;
      const int point = next / devices % points;
      const int turn = next / devices / points;
      batch.add(toolkit::CPath("/Bench" + std::to_string(device) + "/P" + std::to_string(point) +
                               "/Value"),
                toolkit::CElement(230 + (turn % 2) * 0.4));
    }
    if (batch.write(cds, "value_source") != API_SUCCESS) {
      std::fprintf(stderr, "value_source: %s\n", cds.last_error().c_str());
      return 1;
    }
  } while (beat.wait());
  return 0;
}
