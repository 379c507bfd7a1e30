#include "support/Findings.h"

#include <cstdio>
#include <utility>

namespace support {

namespace {

FindingHandler& Handler()
{
    static FindingHandler handler;
    return handler;
}

} // namespace

void HandleFindings(FindingHandler handler)
{
    Handler() = std::move(handler);
}

void ReportFinding(const std::string& finding)
{
    if (Handler()) {
        Handler()(finding);
    } else {
        std::fprintf(stderr, "%s\n", finding.c_str());
    }
}

} // namespace support
