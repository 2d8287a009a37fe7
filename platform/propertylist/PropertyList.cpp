#include "platform/PropertyList.h"

PropertyListFormat propertyListFormat(const QByteArray &contents)
{
    return contents.startsWith("bplist") ? PropertyListFormat::Binary : PropertyListFormat::Xml;
}

PropertyListResult readPropertyList(const QByteArray &contents, const PropertyListLimits &limits)
{
    if (propertyListFormat(contents) == PropertyListFormat::Binary)
        return readBinaryPropertyList(contents, limits);
    return readXmlPropertyList(contents, limits);
}

Result<std::vector<std::byte>, PropertyListError>
writePropertyList(const QVariant &value, PropertyListFormat format,
                  const PropertyListLimits &limits)
{
    return format == PropertyListFormat::Binary ? writeBinaryPropertyList(value, limits)
                                                : writeXmlPropertyList(value, limits);
}
