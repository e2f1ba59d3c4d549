// Names that have a meaning of their own in paths.
#pragma once

#include <string_view>

namespace toolkit {

// See pcd_attr_str_to_enum.
int attributeNumber(std::string_view name);

// ".Source", ".Time", ".AttribType".
bool isSubAttribute(std::string_view name);
// "Value", or a name with a number that is not a sub-attribute.
bool isReservedLeaf(std::string_view name);
// "Children", "Attributes": made at each read, never stored.
bool isAutomaticLeaf(std::string_view name);

}  // namespace toolkit
