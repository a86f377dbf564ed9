// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "tests/group/GroupFixture.h"

#include "sandbox/Sandbox.h"
#include "tests/support/LogCapture.h"

/** Groups of a kind on the nodes "a", "b", "c" of a sandbox, whose root is left out of everything that is compared. */
class KindTest : public testing::Test {
protected:
    KindTest()
    {
        for (char const* node : {"a", "b", "c"}) {
            sandbox.AddNode(node);
        }
    }

    ~KindTest() override { EXPECT_EQ(sandbox.OpenDescriptors(), 0) << "the groups are gone by now"; }

    Strings Paths(Strings nodes) const
    {
        for (std::string& node : nodes) {
            node = node.empty() ? "" : sandbox.Path(node);
        }
        return nodes;
    }
    PerfGroupConfig Config(Strings const& nodes) const
    {
        return {"grp", false, 0, 9000, 300, 8000, Paths(nodes), CHIP_TYPE_ANY};
    }
    PerfGroupConfig Levels(Strings const& nodes, LevelToValueMap const& levels, std::string const& name = "grp") const
    {
        return {name, levels.empty() ? 0 : levels.begin()->first, Paths(nodes), levels, CHIP_TYPE_ANY};
    }

    /** What was written since the last call. */
    Strings Writes() { return Lines(sandbox.TakeWrites()); }
    /** What was logged since the last call. */
    Strings Logged()
    {
        Strings const lines = log.Lines();
        log.Clear();
        return lines;
    }
    Sandbox sandbox;
    LogCapture log;
};
