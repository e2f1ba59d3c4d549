// The driver for a client that wsdl2h and soapcpp2 have made: see toolkits.

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "TarnixSoap.nsmap"
#include "soapTarnixSoapProxy.h"

namespace {

using Proxy = TarnixSoapProxy;

std::string faultOf(struct soap* context) {
  std::ostringstream text;
  soap_stream_fault(context, text);
  return "FAULT " + std::regex_replace(text.str(), std::regex("\\s+"), " ");
}

template <class Message>
std::string textsOf(struct soap* context, const Message& message) {
  std::ostringstream xml;
  context->os = &xml;
  message.soap_serialize(context);
  soap_begin_send(context);
  message.soap_put(context, "message", nullptr);
  soap_end_send(context);
  context->os = nullptr;
  std::string texts = std::regex_replace(xml.str(), std::regex("(<[^>]*>|\\s)+"), " ");
  texts = std::regex_replace(texts, std::regex("&lt;"), "<");
  return std::regex_replace(texts, std::regex("&amp;"), "&");
}

template <class Request, class Response>
std::string call(Proxy& proxy, int (Proxy::*method)(Request*, Response&), const std::string& name,
                 const std::string& xml) {
  struct soap* context = proxy.soap;
  Request request;
  request.soap_default(context);
  std::istringstream in(xml);
  context->is = &in;
  soap_set_imode(context, SOAP_XML_IGNORENS);
  if (soap_begin_recv(context) != SOAP_OK ||
      request.soap_in(context, name.c_str(), nullptr) == nullptr) {
    return faultOf(context);
  }
  context->is = nullptr;
  soap_clr_imode(context, SOAP_XML_IGNORENS);
  Response response;
  response.soap_default(context);
  return (proxy.*method)(&request, response) == SOAP_OK ? textsOf(context, response)
                                                        : faultOf(context);
}

using Operation = std::function<std::string(Proxy&, const std::string&)>;

const std::map<std::string, Operation>& operations() {
#define OPERATION(name) \
  {#name,               \
   [](Proxy& proxy, const std::string& xml) { return call(proxy, &Proxy::name, #name, xml); }},
  static const std::map<std::string, Operation> known{
#include "operations.inc"
  };
  return known;
}

}  // namespace

int main() {
  const std::string user = std::getenv("CLIENT_USER");
  const std::string wsdl = std::getenv("CLIENT_WSDL");
  const std::string endpoint = wsdl.substr(0, wsdl.find('?'));
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream parts(line);
    std::string part[4];
    for (std::string& text : part) {
      std::getline(parts, text, '\t');
    }
    Proxy proxy(endpoint.c_str(), SOAP_C_UTFSTRING);
    // The password goes with every request, without being asked for.
    proxy.soap->userid = user.empty() ? nullptr : user.c_str();
    proxy.soap->passwd = proxy.soap->userid;
    std::cout << part[1] << '\t' << operations().at(part[1])(proxy, part[3]) << '\n';
  }
}
