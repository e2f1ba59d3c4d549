// Device commands: queued in the store for the device's handler, which answers there. The queues
// are drawn in docs/commands.md. Both handlers return SOAP_OK, and tell what went wrong in their
// reply.
#include <cassert>
#include <cstdint>
#include <limits>
#include <sstream>

#include "front/global_data.h"
#include "soap_context.h"
#include "soap_records.h"
#include "toolkit/commands.h"
#include "values/error_strings.h"
#include "values/service_options.h"
#include "values/writing.h"

using namespace toolkit::ws;
using toolkit::CElement;
using toolkit::CPath;

namespace {

constexpr const char* kNoSupport = "No command support for this type";
constexpr const char* kUnreadable = "Could not deserialize results from device handler";

bool fetch(_global_data_t* glptr, const std::string& path, CElement& element) {
  api_status_t status = API_NONE;
  element_property_t source = ELEMENT_NORMAL;
  return glptr->cdsApi.get_leaf(CPath(path), status, element, source) == 0 && status == API_SUCCESS;
}

bool store(_global_data_t* glptr, const std::string& path, const CElement& element,
           pcd_tribool_t persist) {
  api_status_t status = API_NONE;
  CElement stamped = element;
  stamped.set_time(writeTime());
  return glptr->cdsApi.set_leaf(CPath(path), stamped, status, persist, writeSource(*glptr)) == 0 &&
         status == API_SUCCESS;
}

// The steps of queuing one command; each is false when it has refused the command in `result`.
class Queuing {
 public:
  Queuing(_global_data_t* glptr, const _service_options_t& opts, const std::string* devPath,
          std::string& result)
      : glptr_(glptr),
        opts_(opts),
        device_(textOf(devPath)),
        base_(toolkit::commandsOf(device_)),
        result_(result) {}

  bool checkVersion(int wanted) {
    const std::string node = base_ + "/WsdlVersion";
    if (!glptr_->cdsApi.node_exists(node)) {
      return refuseUnsupported();
    }
    CElement version;
    if (!fetch(glptr_, node + "/Value", version) || version.type() != DATA_INTEGER) {
      return refuse(answer(WS_NODE_NOT_FOUND), "No WSDL Version found %s", device_.c_str());
    }
    if (version.to_int() < wanted) {
      return refuse(answer(WS_WRONG_VERSION, "Wrong WSDL Version requested"),
                    "Wrong WSDL Version requested %s", device_.c_str());
    }
    return true;
  }

  // Whether the device lists the command. The device takes no texts, whatever it lists.
  bool checkSupport(const nsc3__sendCmd_s* cmd) {
    std::string entry;
    switch (cmd->__union_sendCmdUnion) {
      case SOAP_UNION_nsc3__sendCmdUnion_cmdLine: {
        assert(cmd->cmd.cmdLine != 0);  // NOLINT(modernize-use-nullptr): printed so
        description_ = "cmdLine: " + *cmd->cmd.cmdLine;
        entry = "/cmdLine/" + *cmd->cmd.cmdLine;
        break;
      }
      case SOAP_UNION_nsc3__sendCmdUnion_cmdBasic: {
        const nsc3__simpleCmd* cmdBasic = cmd->cmd.cmdBasic;
        assert(cmdBasic != 0);  // NOLINT(modernize-use-nullptr): printed so
        description_ = "cmdBasic: " + cmdBasic->name;
        entry = "/cmdBasic/" + cmdBasic->name + "/" + cmdBasic->param;
        break;
      }
      case SOAP_UNION_nsc3__sendCmdUnion_cmdIval: {
        const nsc3__setValueCmd* cmdIval = cmd->cmd.cmdIval;
        assert(cmdIval != 0);  // NOLINT(modernize-use-nullptr): printed so
        description_ = "cmdIval: " + cmdIval->name;
        entry = "/cmdIval/" + cmdIval->name + "/" + cmdIval->param;
        break;
      }
      default:
        return refuseUnsupported();
    }
    return glptr_->cdsApi.node_exists(base_ + "/cmdList" + entry) || refuseUnsupported();
  }

  // The queue's children are its commands and maxCount.
  bool checkRoom() {
    CPath queue(base_ + "/inpQueue");
    std::vector<std::string> children;
    CElement maxCount;
    if (queue.normalize() != 0 ||
        queue.getAttributeList("Children", glptr_->cdsApi, children) != 0 || children.empty() ||
        (children.size() > 1 && !fetch(glptr_, queue.str() + "/maxCount/Value", maxCount))) {
      return refuse(answer(WS_NODE_NOT_FOUND), "No Input Queue length found at %s",
                    queue.str().c_str());
    }
    if (children.size() > 1 && maxCount.to_int64() < static_cast<std::int64_t>(children.size())) {
      return refuse(answer(WS_DEVICE_BUSY, "Input Queue already full"), "Input Queue already full");
    }
    return true;
  }

  // A number that no other command has had: it is used up whatever comes of the command.
  bool takeHandle(int& handle) {
    const std::string counter = toolkit::kNextCommandPath;
    CElement next;
    if (!fetch(glptr_, counter + "/Value", next)) {
      return refuse(answer(WS_NODE_NOT_FOUND), "No Command Counter found at %s", counter.c_str());
    }
    handle = next.to_int();
    // Another process may have taken that one meanwhile.
    api_status_t status = API_NONE;
    int following = 0;
    if (glptr_->cdsApi.add_to_leaf(CPath(counter + "/Value"), 1, &following, status,
                                   writeSource(*glptr_), PCD_TRUE) != 0 ||
        status != API_SUCCESS) {
      return refuseFailed();
    }
    handle = following == std::numeric_limits<int>::min() ? std::numeric_limits<int>::max()
                                                          : following - 1;
    return true;
  }

  bool queue(const nsc3__sendCmd_s& cmd, int handle) {
    std::string document;
    if (!write(cmd, document) ||
        !store(glptr_, base_ + "/inpQueue/" + std::to_string(handle) + "/Value", CElement(document),
               PCD_FALSE)) {
      return refuseFailed();
    }
    __psyslog->info(2, "Queued command %s to %s", description_.c_str(), device_.c_str());
    return true;
  }

 private:
  static bool write(const nsc3__sendCmd_s& cmd, std::string& document) {
    const SoapContext ctx(soap_new1(SOAP_C_UTFSTRING | SOAP_XML_GRAPH));
    std::ostringstream stream;
    ctx->os = &stream;
    cmd.soap_serialize(ctx.get());
    if (soap_begin_send(ctx.get()) != SOAP_OK ||
        cmd.soap_put(ctx.get(), "nsc3:sendCmd-s", "") != SOAP_OK ||
        soap_end_send(ctx.get()) != SOAP_OK) {
      return false;
    }
    document = stream.str();
    return true;
  }

  Refusal answer(WS_Errors code, const char* text = nullptr) const {
    return {code, text, result_, &opts_};
  }
  bool refuseUnsupported() {
    return refuse(answer(WS_COMMAND_NOT_SUPPORTED, kNoSupport), "No command support for %s",
                  device_.c_str());
  }
  bool refuseFailed() {
    return refuse(answer(WS_WRITE_FAILED), "Failed to Queue command %s to %s", description_.c_str(),
                  device_.c_str());
  }

  _global_data_t* glptr_;
  const _service_options_t& opts_;
  std::string device_;
  std::string base_;
  std::string& result_;
  std::string description_;
};

// What the device's handler wrote: texts and harmonics become the context's own.
void copyResults(struct soap* ctx, const nsc3__cmdResult_s& from, nsc3__cmdResult_s& to) {
  to.cmdVersion = from.cmdVersion;
  if (from.__union_cmdResultUnion == SOAP_UNION_nsc3__cmdResultUnion_resText) {
    to.__union_cmdResultUnion = from.__union_cmdResultUnion;
    to.result.resText = newString(ctx, textOf(from.result.resText));
  } else if (from.__union_cmdResultUnion == SOAP_UNION_nsc3__cmdResultUnion_resHarms &&
             from.result.resHarms != nullptr) {
    to.__union_cmdResultUnion = from.__union_cmdResultUnion;
    to.result.resHarms = soap_new_nsc3__harmonicResponse(ctx);
    *to.result.resHarms = *from.result.resHarms;
  }
}

std::string describe(const nsc3__cmdResult_s& results) {
  switch (results.__union_cmdResultUnion) {
    case SOAP_UNION_nsc3__cmdResultUnion_resText:
      return *results.result.resText;
    case SOAP_UNION_nsc3__cmdResultUnion_resHarms:
      return results.result.resHarms->cdsName;
    default:
      return {};
  }
}

// False when the document is none, or the answer to another command.
bool readDocument(struct soap* ctx, const std::string& document, int cmdHandle,
                  nsc3__getDeviceCmdResultResponse& response) {
  const SoapContext reader(soap_new1(SOAP_C_UTFSTRING | SOAP_ENC_PLAIN));
  std::istringstream stream(document);
  reader->is = &stream;
  nsc3__getDeviceCmdResultResponse read;
  if (soap_begin_recv(reader.get()) != SOAP_OK ||
      read.soap_get(reader.get(), "nsc3:getDeviceCmdResultResponse", "") == nullptr ||
      soap_end_recv(reader.get()) != SOAP_OK || read.cmdHandle != cmdHandle) {
    return false;
  }
  response.cmdHandle = read.cmdHandle;
  response.numericStatus = read.numericStatus;
  response.cmdStatus = read.cmdStatus;
  copyResults(ctx, read.cmdResults, response.cmdResults);
  return true;
}

}  // namespace

int nsc3__sendDeviceCmd(struct soap* ctx, std::string* options, std::string* devPath,
                        nsc3__sendCmd_s* cmd, nsc3__sendDeviceCmdResponse& response) {
  _global_data_t* glptr = globalData(ctx);
  assert(glptr != 0);  // NOLINT(modernize-use-nullptr): printed so
  if (!glptr->cdsApi.is_initialized()) {
    return SOAP_OK;
  }
  _service_options_t opts;
  parseServiceOptions(ctx->user, options, &opts);
  const auto& wanted = recordOf(cmd);
  Queuing queuing(glptr, opts, devPath, response.result);
  static_cast<void>(queuing.checkVersion(wanted.cmdVersion) && queuing.checkSupport(&wanted) &&
                    queuing.checkRoom() && queuing.takeHandle(response.cmdHandle) &&
                    queuing.queue(wanted, response.cmdHandle));
  return SOAP_OK;
}

int nsc3__getDeviceCmdResult(struct soap* ctx, std::string* options, std::string* devPath,
                             int cmdHandle, nsc3__getDeviceCmdResultResponse& response) {
  _global_data_t* glptr = globalDataWithStore(ctx);
  _service_options_t opts;
  parseServiceOptions(ctx->user, options, &opts);
  const auto fail = [&](nsc3__cmdNumStatus number, WS_Errors code, const char* text = nullptr) {
    response.numericStatus = number;
    BnwsErrMsg(code, text, response.result, &opts);
    return SOAP_OK;
  };
  const std::string device = textOf(devPath);
  if (device.empty()) {
    response.cmdStatus = "No device path given";
    return fail(nsc3__cmdNumStatus__cmdFailInvalid, WS_PATH_SYNTAX);
  }
  response.cmdHandle = cmdHandle;
  const std::string path = toolkit::commandsOf(device) + "/outQueue/" + std::to_string(cmdHandle);
  if (!glptr->cdsApi.node_exists(path)) {
    __psyslog->info(1, "No command response queued for %s for cmd #%d", device.c_str(), cmdHandle);
    response.cmdStatus = "No such cmdHandle exists, or its results were aged out";
    return fail(nsc3__cmdNumStatus__cmdFailHandle, WS_HANDLE_INVALID);
  }
  CElement document;
  if (!fetch(glptr, path + "/Value", document)) {
    response.cmdStatus = "Could not read results";
    return fail(nsc3__cmdNumStatus__cmdFailOther, WS_NO_DATA);
  }
  bool isRead = false;
  try {
    isRead = readDocument(ctx, document.to_string(), cmdHandle, response);
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception when trying to deserialize C3 Command Response for %s",
                    device.c_str());
    __psyslog->info(1, "Exception: %s", e.what());
    return fail(nsc3__cmdNumStatus__cmdFailOther, WS_NO_DATA, kUnreadable);
  }
  if (!isRead) {
    __psyslog->info(1, "Failed to deserialize C3 Command Response for %s", device.c_str());
    return fail(nsc3__cmdNumStatus__cmdFailOther, WS_NO_DATA, kUnreadable);
  }
  __psyslog->info(2, "Response cmdStatus = %s,  Result = %s", response.cmdStatus.c_str(),
                  describe(response.cmdResults).c_str());
  return SOAP_OK;
}
