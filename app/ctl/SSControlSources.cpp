#include "app/ctl/SSControlSources.h"

#include "platform/Identity.h"
#include "platform/Platform.h"

QString SSControlSources::noConnectionPoint()
{
    return QStringLiteral("no connection point of the service was found in the directory");
}

QString SSControlSources::currentUserName()
{
    return Platform::current().identity->userName();
}
