// Codes that every part of the platform speaks: data types, call outcomes, leaf sources.
//
// The numbers are part of the wire and of the stored data: they never change.
#pragma once

#include <string>

// Type of a leaf's value. The words in the comments are what pcd_enum_to_str gives.
enum data_type_t : int {
  DATA_NONE = 0,           // "None": no value
  DATA_BOOLEAN = 1,        // "Boolean"
  DATA_ENUMERATED = 2,     // "Enumerated": a state number, signed 32-bit
  DATA_INTEGER = 3,        // "Integer": signed 32-bit
  DATA_REAL = 4,           // "Real": IEEE 754 double
  DATA_TIMEVAL = 5,        // "timeval": seconds and microseconds
  DATA_STRING = 6,         // "String": UTF-8
  DATA_SAME_AS_VALUE = 7,  // stands in tables for "the type of the node's Value"; never stored
  DATA_INTEGER64 = 8,      // "Integer64": signed 64-bit
};

// Outcome of one store operation on one path. Only API_SUCCESS means that it happened.
enum api_status_t {
  API_NONE = 0,
  API_SUCCESS = 1,
  API_NOT_FOUND = 2,
  API_READ_ONLY = 3,
  API_FAILED = 4,  // the store could not be read or written; what it held before is whole
  API_BAD_PATH = 5,
  API_NOT_AUTHORIZED = 6,
  API_STORE_FULL = 7,
};

// Where a leaf's value comes from.
enum element_property_t {
  ELEMENT_NORMAL = 0,      // live store only, gone after a restart
  ELEMENT_PERSISTENT = 1,  // also in the persistent store
  ELEMENT_AUTOMATIC = 2,   // made by the store at each read (Children, Attributes)
  ELEMENT_MPL = 3,
};

// The persistence argument of a write.
enum pcd_tribool_t {
  PCD_UNSET = 0,  // like PCD_FALSE
  PCD_TRUE = 1,   // durable: committed to the persistent store before the live one
  PCD_FALSE = 2,  // live store only
};

// Number of a leaf name (1 to 56: "Units" is 16, ".AlarmHighLimit" is 40). 0 for "Value" and for
// every name that the platform does not know. Case counts.
int pcd_attr_str_to_enum(const std::string& name);

// Word for a data type, or null for a number outside the list (DATA_SAME_AS_VALUE included).
const char* pcd_enum_to_str(int dataType);

// Data type for a word, in any letter case; DATA_NONE for unknown text.
data_type_t pcd_human_str_to_enum(const std::string& word);
