#include "message.h"

#include <cstdlib>
#include <sstream>
#include <string_view>

#include "TarnixH.h"
#include "soap_context.h"
#include "toolkit/time.h"

namespace wspub {

namespace {

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
      if (event.event->message.empty()) {
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
    *result = content;
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
    const toolkit::CEvent& from = *event.event;
    out.EventId = from.id;
    out.SequenceIndex = from.sequence;
    out.SourcePath = text(event.sourcePath);
    out.Time = qel_UNIXtoQELtime64(&from.time);
    out.Description = optionalText(from.message);
    set(event.texts, out.Value, out.NumericValue);
    if (!from.waveforms.empty()) {
      out.ComtradeWaveformUrls = soap_new_nss1__ArrayOfString(ctx_.get());
      for (const std::string& url : from.waveforms) {
        out.ComtradeWaveformUrls->string.push_back(url);
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
        event.event->priority == 0 ? nullptr : text(std::to_string(event.event->priority));
    out->AckStatus = static_cast<enum nss1__AckStatus>(event.event->ack);
    out->AutoClosing = event.event->autoClosing;
    out->ConditionPresent = event.event->condition;
    out->Note = optionalText(event.event->note);
    out->VariationLevel = event.event->variation;
    return out;
  }

  SoapContext ctx_;
  _nss1__publish message_;
};

}  // namespace

std::string messageOf(const std::string& subscriptionId, const Batch& batch) {
  Writer writer;
  writer.message().subscriptionId = subscriptionId;
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
