#include "platform/PropertyList.h"

PropertyListResult readPropertyList(const QByteArray &contents, const PropertyListLimits &limits)
{
    if (contents.startsWith("bplist"))
        return readBinaryPropertyList(contents, limits);
    return readXmlPropertyList(contents, limits);
}
