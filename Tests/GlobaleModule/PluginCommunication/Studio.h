// The studio network of the coordination tests: units in namespaces of their own, and this
// whole process inside "the computer", entered by main before the framework starts.
#pragma once

#include "StudioNet.h"

#include "MorvaneUnit/Unit.h"

#include <memory>
#include <string>

namespace Studio
{
constexpr int unitCount = 4;

// The network, or nullptr when it could not be made (no root).
morvane::test::StudioNet* net();

// Unit k (1-based) at its address in its own namespace: HTTP on 80, status on 7000 + k, so
// that instances in this one process never share a status port. nullptr when it failed.
std::unique_ptr<morvane::sim::Unit> startUnit(int k);
std::string address(int k);
std::string serial(int k);

// Threads of this process now.
int threadCount();
// Their names, one a line, for the report of a thread left behind.
std::string threadNames();
} // namespace Studio

// The studio network needs root; on CI it must be there.
#define REQUIRE_STUDIO()                                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (Studio::net() == nullptr)                                                                        \
        {                                                                                                    \
            if (TestEnvironment::onCi())                                                                     \
                FAIL() << "the studio network needs root and iproute2";                                      \
            GTEST_SKIP() << "the studio network needs root";                                                 \
        }                                                                                                    \
    } while (false)
