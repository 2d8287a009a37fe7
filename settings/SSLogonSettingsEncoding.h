#pragma once

#include "platform/PropertyList.h"

/// The form that the logon settings have in a file.
namespace SSLogonSettingsEncoding {

/// The dictionary of a property list, binary or XML, as the readers give it.
[[nodiscard]] Result<PropertyListDictionary, PropertyListError>
decoded(const PropertyListData &contents);

} // namespace SSLogonSettingsEncoding
