#include "foundation/SSFunctionLog.h"

#include "foundation/SSLogger.h"

SSFunctionLog::SSFunctionLog(const char *functionName) : m_functionName(functionName)
{
    if (const auto logger = SSLogger::sharedInstance(); logger && logger->logLevel() >= 2)
        logger->logFunctionStartWithName(this->functionName());
}

SSFunctionLog::~SSFunctionLog()
{
    if (const auto logger = SSLogger::sharedInstance(); logger && logger->logLevel() >= 2)
        logger->logFunctionEndWithName(functionName());
}
