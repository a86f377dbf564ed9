#include "tools/corvanectl/session/SessionTime.h"

#include <corvane/ConfigManager.h>

#include <sstream>

void SessionTime::Settle(ConfigManager& manager)
{
    // Each worker answers a dump when it has done everything that was asked of it before.
    std::ostringstream nowhere;
    manager.TaskDump(false, nowhere);
}
