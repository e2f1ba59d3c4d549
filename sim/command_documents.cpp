#include "command_documents.h"

#include <cmath>
#include <new>
#include <sstream>
#include <utility>

#include "TarnixH.h"
#include "soap_context.h"
#include "toolkit/command_queues.h"

namespace sim {

namespace {

// Far more than a command needs: who writes to the queue may be anybody.
constexpr std::size_t kMaxBytes = 65536;
constexpr unsigned kMaxLevels = 16;

SoapContext newContext() {
  SoapContext ctx(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_TREE | SOAP_ENC_PLAIN));
  if (!ctx) {
    throw std::bad_alloc();
  }
  ctx->maxlevel = kMaxLevels;
  return ctx;
}

template <class Named>
Command named(Command::Kind kind, const Named& from) {
  return {0, kind, from.name, from.param, from.psswd, 0};
}

// An element that is nil gives nothing.
std::optional<Command> commandOf(const nsc3__sendCmd_s& from) {
  const auto& cmd = from.cmd;
  switch (from.__union_sendCmdUnion) {
    case SOAP_UNION_nsc3__sendCmdUnion_cmdLine:
      if (cmd.cmdLine == nullptr) {
        return std::nullopt;
      }
      return Command{0, Command::Kind::kLine, *cmd.cmdLine, "", 0, 0};
    case SOAP_UNION_nsc3__sendCmdUnion_cmdBasic:
      if (cmd.cmdBasic == nullptr) {
        return std::nullopt;
      }
      return named(Command::Kind::kBasic, *cmd.cmdBasic);
    case SOAP_UNION_nsc3__sendCmdUnion_cmdIval: {
      if (cmd.cmdIval == nullptr) {
        return std::nullopt;
      }
      Command command = named(Command::Kind::kValue, *cmd.cmdIval);
      command.value = cmd.cmdIval->iValue;
      return command;
    }
    case SOAP_UNION_nsc3__sendCmdUnion_cmdText:
      if (cmd.cmdText == nullptr) {
        return std::nullopt;
      }
      return named(Command::Kind::kText, *cmd.cmdText);
    default:
      return std::nullopt;
  }
}

nsc3__harmonicResponse harmonicsElement(const HarmonicsReading& from) {
  nsc3__harmonicResponse to;
  to.cdsName = from.path;
  to.displayName = from.displayName;
  to.timeSample = from.time;
  for (const Harmonic& harmonic : from.harmonics) {
    nsc3__harmonic_s out;
    out.frequency = static_cast<int>(std::lround(harmonic.order * from.frequency));
    out.magnitude = static_cast<float>(harmonic.magnitude);
    out.phase = static_cast<float>(harmonic.phase);
    to.hData.push_back(out);
  }
  return to;
}

}  // namespace

std::optional<Command> readCommand(const std::string& document) {
  if (document.size() > kMaxBytes) {
    return std::nullopt;
  }
  const SoapContext ctx = newContext();
  std::istringstream stream(document);
  ctx->is = &stream;
  nsc3__sendCmd_s read;
  if (soap_begin_recv(ctx.get()) != SOAP_OK ||
      read.soap_get(ctx.get(), "nsc3:sendCmd-s", "") == nullptr ||
      soap_end_recv(ctx.get()) != SOAP_OK) {
    return std::nullopt;
  }
  auto command = commandOf(read);
  if (command) {
    command->version = read.cmdVersion;
  }
  return command;
}

std::string writeResult(int handle, const CommandResult& result) {
  nsc3__getDeviceCmdResultResponse response;
  response.cmdHandle = handle;
  response.numericStatus = static_cast<nsc3__cmdNumStatus>(result.status);
  response.cmdStatus = result.text;
  nsc3__cmdResult_s& to = response.cmdResults;
  to.cmdVersion = toolkit::CCommandQueues::kCommandVersion;
  std::string text = result.text;
  nsc3__harmonicResponse harmonics;
  if (result.harmonics) {
    harmonics = harmonicsElement(*result.harmonics);
    to.__union_cmdResultUnion = SOAP_UNION_nsc3__cmdResultUnion_resHarms;
    to.result.resHarms = &harmonics;
  } else {
    to.__union_cmdResultUnion = SOAP_UNION_nsc3__cmdResultUnion_resText;
    to.result.resText = &text;
  }
  const SoapContext ctx = newContext();
  std::ostringstream stream;
  ctx->os = &stream;
  response.soap_serialize(ctx.get());
  // It goes to memory: only want of that can fail.
  if (soap_begin_send(ctx.get()) != SOAP_OK ||
      response.soap_put(ctx.get(), "nsc3:getDeviceCmdResultResponse", "") != SOAP_OK ||
      soap_end_send(ctx.get()) != SOAP_OK) {
    throw std::bad_alloc();
  }
  return stream.str();
}

}  // namespace sim
