#include "tv/scenario/Scenario.h"

#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/language/Misunderstood.h"
#include "tv/language/Words.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace scenario {

namespace {

constexpr std::uintmax_t kLargest = 16 << 20; // bytes; more is no text that somebody wrote

/// \return why the line cannot be carried out; empty when it can be
std::string Objection(const std::string& text)
{
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        return "this is no UTF-8 text";
    }
    try {
        const language::Line line = language::Parse(text);
        if (line.command->verb == language::Verb::Within) {
            language::Parse(line.Text("TEXT"));
        }
        return "";
    } catch (const language::Misunderstood& misunderstood) {
        return misunderstood.what();
    }
}

std::ifstream Open(const std::string& file)
{
    std::error_code failure;
    if (std::filesystem::is_directory(file, failure)) {
        throw Unreadable(file + ": this is a folder; name a file in it");
    }
    if (std::filesystem::is_regular_file(file, failure) && std::filesystem::file_size(file, failure) > kLargest) {
        throw Unreadable(file + ": this is too long for a scenario");
    }
    errno = 0;
    std::ifstream in(file);
    if (!in) {
        throw Unreadable(file + ": it cannot be read: " + std::strerror(errno));
    }
    return in;
}

} // namespace

Scenario Read(const std::string& file)
{
    constexpr std::size_t kMostObjections = 20;
    std::ifstream in = Open(file);
    Scenario scenario = {file, {}};
    std::vector<std::string> objections;
    std::string line;
    for (int number = 1; std::getline(in, line) && objections.size() < kMostObjections; ++number) {
        if (language::IsRemark(line)) {
            continue;
        }
        if (std::string objection = Objection(line); !objection.empty()) {
            objection.insert(0, file + ":" + std::to_string(number) + ": ");
            objections.push_back(std::move(objection));
        }
        scenario.steps.push_back({line, number});
    }
    if (!objections.empty()) {
        std::string all;
        for (const std::string& objection : objections) {
            all += (all.empty() ? "" : "\n") + objection;
        }
        throw Unreadable(all);
    }
    if (scenario.steps.empty()) {
        throw Unreadable(file + ": there is nothing in it");
    }
    return scenario;
}

std::string TitleOf(const std::string& file)
{
    std::string title = std::filesystem::path(file).stem().string();
    std::ranges::replace(title, '-', ' ');
    return title;
}

} // namespace scenario
