#include "app/SSSelfService.h"

#include "foundation/SSFunctionLog.h"
#include "foundation/SSUtils.h"

void SSSelfService::showSelfService(SSApplicationDelegate *delegate)
{
    const SSFunctionLog scope("+[SSSelfService showSelfService]");
    SSUtils::alertWithMessage(QStringLiteral("This service is not configured."), delegate);
}
