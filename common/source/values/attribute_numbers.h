// The numbers that pcd_attr_str_to_enum gives to the leaves whose names mean something to the
// service.
#pragma once

enum AttributeNumber {
  kPlainValue = 0,
  kAttributes = 1,
  kValueType = 2,
  kChildren = 3,
  kAliases = 5,
  kDisplayName = 6,
  kDescription = 7,
  kValueAge = 9,
  kOverridden = 10,
  kUnits = 16,
  kHasHistory = 17,
  kShortName = 18,
  kReference = 19,
  kHasDynamicChildren = 20,
  kGroupName = 26,
  kAlarmHighLimit = 40,
  kAlarmLowLowLimit = 43,
  kAlarmHighMsg = 45,
  kAlarmLowMsg = 46,
  kAlarmHighHighMsg = 47,
  kAlarmLowLowMsg = 48,
  kAlarmOnValue = 50,
  kAlarmOnValueMsg = 51,
};
