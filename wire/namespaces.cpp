// The engine's namespace table. The order is part of the wire format; the generator's own table
// would list the application namespaces in the order in which the schema happens to use them.
#include "TarnixH.h"

SOAP_NMAC struct Namespace namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope",
     nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding",
     nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance",
     nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {"nst1", "http://tarnix.example/TarnixWSTest", nullptr, nullptr},
    {"nss1", "http://tarnix.example/TarnixWSSubscriber", nullptr, nullptr},
    {"nsvk", "http://tarnix.example/TarnixWSVK", nullptr, nullptr},
    {"nsc3", "http://tarnix.example/TarnixWSC3", nullptr, nullptr},
    {"nsc1", "http://tarnix.example/TarnixWS", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
};
