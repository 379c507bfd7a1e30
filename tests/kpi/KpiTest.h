#pragma once

#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A television whose collector, settings and log the tests look at.
class KpiTest : public testing::Test
{
protected:
    /// What the collector was given: "category name code description".
    std::vector<std::string> Events()
    {
        return tv.tape.Kpi();
    }
    /// "E text", without debug lines and without what the settings say about themselves.
    std::vector<std::string> Logs();
    /// Calls of the platform without their results, in order.
    std::vector<std::string> Platform();

    int Int(const char* key)
    {
        return tv.settings.Int(key).value_or(-1);
    }
    std::string Text(const char* key)
    {
        return tv.settings.Text(key).value_or("(none)");
    }

    sim::Television tv;
};
