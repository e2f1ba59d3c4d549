#include "message.h"

#include <cstdlib>
#include <sstream>
#include <string_view>

#include "TarnixH.h"
#include "soap_context.h"
#include "toolkit/time.h"

namespace wspub {

namespace {

bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Length of the character at the front that XML 1.0 allows, 0 for none.
std::size_t characterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    return first >= 0x20 || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(text[i])) {
      return 0;
    }
  }
  const auto second = static_cast<unsigned char>(text[1]);
  const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool isOutside = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90) ||
                         text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
  return isOverlong || isOutside ? 0 : length;
}

std::string xmlText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    result += length == 0 ? "?" : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

class Writer {
 public:
  Writer() : ctx_(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE)) {
    if (!ctx_) {
      throw std::bad_alloc();
    }
  }

  _nss1__publish& message() { return message_; }

  void add(const Value& value) {
    if (message_.values == nullptr) {
      message_.values = soap_new_nss1__ArrayOfPublishedValue(ctx_.get());
    }
    auto* out = soap_new_nss1__PublishedValue(ctx_.get());
    out->Path = text(value.path);
    set(value.texts, out->Value, out->NumericValue);
    out->Quality = value.quality;
    out->Time = value.time;
    out->RealTime = !value.isTrend;
    out->Trend = value.isTrend;
    message_.values->PublishedValue.push_back(out);
  }

  void add(const Event& event) {
    if (event.kind == EventKind::kAlarm) {
      append(alarm(event));
      return;
    }
    auto* out = soap_new_nss1__Event(ctx_.get());
    fill(*out, event);
    if (event.kind == EventKind::kStructureChanged) {
      out->EventType = nss1__EventType__StructureChanged;
      if (event.event.message.empty()) {
        out->Description = text("Device Node Structure Changed");
      }
    }
    append(out);
  }

  void addLoss(std::uint64_t lost) {
    auto* out = soap_new_nss1__Event(ctx_.get());
    out->EventType = nss1__EventType__LostEvent;
    out->Time = qel_UTCtime64();
    out->SourcePath = text("/");
    out->Description = text(std::to_string(lost) + " records lost");
    out->Value = text(std::to_string(lost));
    append(out);
  }

  std::string written() {
    std::ostringstream out;
    struct soap* ctx = ctx_.get();
    ctx->os = &out;
    const bool good = soap_begin_send(ctx) == SOAP_OK && soap_envelope_begin_out(ctx) == SOAP_OK &&
                      soap_body_begin_out(ctx) == SOAP_OK &&
                      message_.soap_put(ctx, "nss1:publish", "") == SOAP_OK &&
                      soap_body_end_out(ctx) == SOAP_OK && soap_envelope_end_out(ctx) == SOAP_OK &&
                      soap_end_send(ctx) == SOAP_OK;
    // It goes to memory: only want of that can fail.
    if (!good) {
      throw std::bad_alloc();
    }
    return out.str();
  }

 private:
  std::string* text(std::string_view content) {
    std::string* result = soap_new_std__string(ctx_.get());
    *result = xmlText(content);
    return result;
  }
  std::string* optionalText(const std::string& content) {
    return content.empty() ? nullptr : text(content);
  }
  void set(const std::optional<Texts>& texts, std::string*& value, std::string*& numeric) {
    if (texts) {
      value = text(texts->value);
      numeric = texts->numeric ? text(*texts->numeric) : nullptr;
    }
  }

  void append(nss1__Event* event) {
    if (message_.events == nullptr) {
      message_.events = soap_new_nss1__ArrayOfEvent(ctx_.get());
    }
    message_.events->Event.push_back(event);
  }

  void fill(nss1__Event& out, const Event& event) {
    const toolkit::CEvent& from = event.event;
    out.EventId = from.id;
    out.SequenceIndex = from.sequence;
    out.SourcePath = text(event.sourcePath);
    out.Time = qel_UNIXtoQELtime64(&from.time);
    out.Description = optionalText(from.message);
    set(event.texts, out.Value, out.NumericValue);
    if (!from.waveforms.empty()) {
      out.ComtradeWaveformUrls = soap_new_nss1__ArrayOfString(ctx_.get());
      for (const std::string& url : from.waveforms) {
        out.ComtradeWaveformUrls->string.push_back(xmlText(url));
      }
    }
    if (from.quality != toolkit::CEvent::kGoodQuality) {
      out.Quality =
          text(from.type == toolkit::EVENT_SYSTEM ? std::to_string(toolkit::CEvent::kGoodQuality)
                                                  : std::to_string(from.quality));
    }
  }

  nss1__AlarmUpdate* alarm(const Event& event) {
    auto* out = soap_new_nss1__AlarmUpdate(ctx_.get());
    fill(*out, event);
    out->EventType = nss1__EventType__Alarm;
    out->BasePriority =
        event.event.priority == 0 ? nullptr : text(std::to_string(event.event.priority));
    out->AckStatus = static_cast<enum nss1__AckStatus>(event.event.ack);
    out->AutoClosing = event.event.autoClosing;
    out->ConditionPresent = event.event.condition;
    out->Note = optionalText(event.event.note);
    out->VariationLevel = event.event.variation;
    return out;
  }

  SoapContext ctx_;
  _nss1__publish message_;
};

}  // namespace

std::string messageOf(const std::string& subscriptionId, const Batch& batch) {
  Writer writer;
  writer.message().subscriptionId = xmlText(subscriptionId);
  writer.message().sequence = batch.sequence;
  if (batch.lost > 0) {
    writer.addLoss(batch.lost);
  }
  for (const Record* record : batch.records) {
    std::visit([&](const auto& content) { writer.add(content); }, record->content);
  }
  return writer.written();
}

}  // namespace wspub
