#include "toolkit/trend_points.h"

#include <strings.h>

#include <tuple>

#include "toolkit/device_nodes.h"
#include "toolkit/leaf_reader.h"

namespace toolkit::trend {

namespace {

// Read at once: it bounds the memory that a large tree takes.
constexpr std::size_t kNodesAtOnce = 500;

auto fieldsOf(const CParamProperties& param) {
  return std::tie(param.path, param.type, param.hasMin, param.hasMax, param.hasAvg,
                  param.hasActual);
}

bool isWord(const std::string& text, const char* word) {
  return strcasecmp(text.c_str(), word) == 0;
}

}  // namespace

bool operator==(const CPoint& a, const CPoint& b) {
  return a.device == b.device && fieldsOf(a.param) == fieldsOf(b.param);
}

bool readTraits(const std::string& traits, CParamProperties& param) {
  std::vector<std::string> words;
  CElement::split_string(words, traits, ';');
  param.type = SAMPLE_NORMAL;
  param.hasMin = param.hasMax = param.hasAvg = param.hasActual = false;
  for (const std::string& word : words) {
    param.hasMin = param.hasMin || isWord(word, "Min");
    param.hasMax = param.hasMax || isWord(word, "Max");
    param.hasAvg = param.hasAvg || isWord(word, "Avg");
    param.hasActual = param.hasActual || isWord(word, "Actual");
    if (isWord(word, "PowerFactor")) {
      param.type = SAMPLE_PF;
    }
  }
  return param.hasMin || param.hasMax || param.hasAvg || param.hasActual;
}

bool readPoints(CCds& cds, std::vector<CPoint>& points) {
  points.clear();
  std::vector<std::string> devices;
  std::vector<DeviceNode> nodes;
  if (!readDeviceNodes(cds, devices, nodes)) {
    return false;
  }
  for (std::size_t begin = 0; begin < nodes.size(); begin += kNodesAtOnce) {
    const std::size_t end = std::min(nodes.size(), begin + kNodesAtOnce);
    CLeafReader reader;
    std::vector<CLeafReader::Handle> traits;
    for (std::size_t i = begin; i < end; ++i) {
      traits.push_back(reader.add(nodes[i].path + ":.TrendTraits"));
    }
    if (!reader.read(cds)) {
      return false;
    }
    for (std::size_t i = begin; i < end; ++i) {
      CPoint point;
      point.device = devices[nodes[i].device];
      point.param.path = nodes[i].path;
      if (readTraits(reader.text(traits[i - begin]), point.param)) {
        points.push_back(std::move(point));
      }
    }
  }
  return true;
}

}  // namespace toolkit::trend
