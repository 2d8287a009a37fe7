#pragma once

#include "platform/PropertyList.h"

/// The form that the logon settings have in a file.
namespace SSLogonSettingsEncoding {

/// What a file may cost its readers, root among them: all the settings together take some
/// kilobytes.
inline constexpr PropertyListLimits limits{.fileSize = qsizetype{1024} * 1024,
                                           .depth = 16,
                                           .values = 10'000,
                                           .contentSize = qsizetype{4} * 1024 * 1024};

/// The dictionary of a property list, binary or XML, as the readers give it, within the limits.
[[nodiscard]] Result<PropertyListDictionary, PropertyListError>
decoded(const PropertyListData &contents);

} // namespace SSLogonSettingsEncoding
