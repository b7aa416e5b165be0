// settings.cpp - the test that settings make sense.

#include "station.h"

#include <stdexcept>
#include <string>

namespace plcsim
{

namespace
{

void require(bool holds, const std::string &message)
{
    if (!holds)
        throw std::invalid_argument(message);
}

void requireLimit(const char *name, int limit)
{
    require(limit >= kBareResponse && limit <= kLargestFrameLimit, std::string(name) + " must be 9 to " +
                                                                       std::to_string(kLargestFrameLimit) + ", not " +
                                                                       std::to_string(limit));
}

void requireCommands(const std::set<QByteArray> &commands)
{
    for (const QByteArray &command : commands)
        require(isCommand(command), "there is no command '" + command.toStdString() + "'");
}

} // namespace

void requireGood(const StationSettings &settings)
{
    requireLimit("frameLimit", settings.frameLimit);
    requireLimit("extendedFrameLimit", settings.extendedFrameLimit);
    require(settings.scanTimeMs >= 1, "scanTimeMs must be 1 or more");
    requireCommands(settings.missingCommands);
    requireCommands(settings.forbiddenInRun);
    requireCommands(settings.forbiddenInProg);
    for (const WordRange &range : settings.writeProtected) {
        require(range.first >= 0 && range.first <= range.last,
                "a protected range must run from 0 or more to a number that is not below");
    }
}

} // namespace plcsim
