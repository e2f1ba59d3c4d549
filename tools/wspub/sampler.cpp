#include "sampler.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "element_texts.h"
#include "toolkit/time.h"

namespace wspub {

using toolkit::CElement;

namespace {

// A change of the rights takes effect within this time. It is a change of the store's state too.
constexpr std::chrono::seconds kRightLasts(1);
constexpr std::size_t kPointsAtOnce = 16;  // held in memory, each as long as a request may be
constexpr std::size_t kLongText = 64;

// A name of a path outside the grammar stays one: such a point is never read.
std::string pathOf(const std::string& name) {
  std::string text = name;
  if (!name.starts_with("?|")) {
    toolkit::CPath::DottedPathToNodePath(name, text);
  }
  return text;
}

// What a text is known by later: a long one by its size and hash.
std::string marked(const std::string& text) {
  return text.size() <= kLongText ? text
                                  : "#" + std::to_string(text.size()) + " " +
                                        std::to_string(std::hash<std::string>{}(text));
}

CElement marked(const CElement& element) {
  if (element.type() != DATA_STRING) {
    return element;
  }
  CElement mark(marked(element.to_string()));
  mark.set_time(element.time());
  return mark;
}

bool isRightOld(const Point& point, State state, Clock::time_point now) {
  return point.allowedIn == kNeverSeen ||
         (point.allowedIn != state && now >= point.allowedAt + kRightLasts);
}

void renewRight(Point& point, const toolkit::CPath& path, State state, Clock::time_point now) {
  if (isRightOld(point, state, now)) {
    point.allowed = path.is_read_authorized(point.user) && path.is_read_authorized(point.receiver);
    point.allowedIn = state;
    point.allowedAt = now;
  }
}

Sample sampleOf(const Point& point, const std::optional<Texts>& texts) {
  Sample sample;
  sample.isReadable = texts.has_value();
  if (texts) {
    sample.text = marked(texts->value);
    sample.quality = point.quality;
    if (!texts->numeric && point.element.type() != DATA_STRING &&
        point.element.type() != DATA_TIMEVAL) {
      sample.number = point.element.to_double();
    }
  }
  return sample;
}

Value valueOf(const toolkit::CPath& path, const Point& point, std::optional<Texts> texts) {
  const timeval time = point.element.time();
  Value value;
  value.path = path.str();
  value.quality = texts ? point.quality : 0;
  value.time = texts ? qel_UNIXtoQELtime64(&time) : qel_UTCtime64();
  value.texts = std::move(texts);
  return value;
}

}  // namespace

void Qualities::look(State state) {
  if (state_ == state) {
    return;
  }
  state_ = state;
  devices_.clear();
  std::vector<std::string> paths;
  toolkit::CCds_Utils::GetDeviceList(cds_, paths);
  for (const std::string& path : paths) {
    CElement quality;
    utils_.CheckDeviceQuality(path, &quality);
    devices_[path] = static_cast<std::uint16_t>(quality.to_uint());
  }
}

std::uint16_t Qualities::of(const std::string& node) {
  std::string_view above = node;
  while (!above.empty()) {
    if (const auto found = devices_.find(above); found != devices_.end()) {
      return found->second;
    }
    above = above.substr(0, above.rfind('/'));
  }
  const auto root = devices_.find("/");
  return root == devices_.end() ? toolkit::CEvent::kGoodQuality : root->second;
}

bool Sampler::look(std::map<std::string, Subscription>& subscriptions, State state,
                   Clock::time_point now) {
  due_.clear();
  for (auto& [id, subscription] : subscriptions) {
    collect(subscription, state, now);
  }
  const std::span<const Due> all = due_;
  for (std::size_t first = 0; first < all.size(); first += kPointsAtOnce) {
    const auto some = all.subspan(first, std::min(kPointsAtOnce, all.size() - first));
    if (!take(some, state, now)) {
      return false;
    }
  }
  return true;
}

bool Sampler::take(std::span<const Due> due, State state, Clock::time_point now) {
  listPaths(due);
  std::vector<api_status_t> statuses;
  std::vector<CElement> elements;
  std::vector<element_property_t> sources;
  if (cds_.get_leaves(paths_, statuses, elements, sources) != 0) {
    return false;
  }
  qualities_.look(state);
  for (std::size_t i = 0; i < due.size(); ++i) {
    renewRight(*due[i].point, paths_[i], state, now);
    due[i].point->seen = state;
    take(due[i], paths_[i], statuses[i], elements[i], now);
  }
  return true;
}

void Sampler::collect(Subscription& subscription, State state, Clock::time_point now) {
  // First values are no changes: they wait until they find room instead of driving each other out.
  std::size_t room = subscription.isReachable ? subscription.queue.room() : 0;
  for (auto& [name, point] : subscription.points) {
    const bool isNew = !point.filter.hasStarted();
    if ((isNew && room == 0) || !point.filter.isDue(now) ||
        (point.seen == state && !isRightOld(point, state, now))) {
      continue;
    }
    room -= isNew ? 1 : 0;
    due_.push_back({&subscription, &name, &point});
  }
}

void Sampler::listPaths(std::span<const Due> due) {
  paths_.resize(due.size());
  for (std::size_t i = 0; i < due.size(); ++i) {
    const std::string text = pathOf(*due[i].name);
    if (paths_[i].str() != text) {
      paths_[i] = toolkit::CPath(text);
      paths_[i].normalize();
    }
  }
}

void Sampler::take(const Due& due, const toolkit::CPath& path, api_status_t status,
                   const CElement& element, Clock::time_point now) {
  Point& point = *due.point;
  const bool allowed = point.allowed && path.getSubAttribute().empty();
  const bool readable = status == API_SUCCESS && element.type() != DATA_NONE && allowed;
  const std::uint16_t quality = readable ? qualities_.of(path.getNodePath()) : 0;
  CElement mark = marked(element);
  if (point.filter.hasStarted() && readable == point.readable && quality == point.quality &&
      mark == point.element) {
    return;
  }
  point.readable = readable;
  point.quality = quality;
  point.element = std::move(mark);
  std::optional<Texts> texts;
  if (readable) {
    texts = textsOf(cds_, path, element);
  }
  const Sample sample = sampleOf(point, texts);
  Record record{valueOf(path, point, std::move(texts))};
  RecordQueue& queue = due.subscription->queue;
  if (!point.filter.hasStarted() && !queue.hasRoomFor(record)) {
    point.seen = kNeverSeen;  // a first value waits, see collect()
  } else if (point.filter.takes(sample, now)) {
    queue.add(std::move(record));
  }
}

}  // namespace wspub
