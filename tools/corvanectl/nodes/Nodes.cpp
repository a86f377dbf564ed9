#include "tools/corvanectl/nodes/Nodes.h"

#include "tools/corvanectl/platform/Findings.h"

Sandbox& Nodes::Box()
{
    throw InputError("this needs a sandbox: start with --sandbox");
}
