#include "kpi/KpiTest.h"

std::vector<std::string> KpiTest::Logs()
{
    std::vector<std::string> logs = tv.tape.Messages();
    std::erase_if(logs, [](const std::string& line) { return line.starts_with("E fail to get vconfkey"); });
    return logs;
}

std::vector<std::string> KpiTest::Platform()
{
    std::vector<std::string> calls = tv.tape.Calls();
    for (std::string& call : calls) {
        call.resize(call.find(") = ") + 1);
    }
    return calls;
}
