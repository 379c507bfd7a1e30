#include "support/Siblings.h"

#include "support/Description.h"
#include "support/Findings.h"
#include "support/Message.h"

#include <glib.h>

#include <memory>
#include <vector>

namespace support {

namespace {

constexpr const char* kKeyRouterInterface = "keyrouter.dbus.Signal";

Peer::Check CheckAgainst(const std::string& interface)
{
    return [description = std::make_shared<const Description>(interface)](const Message& message) {
        return description->Violation(message);
    };
}

} // namespace

Sibling::Sibling(const std::string& busName, const std::string& interface) : Peer(busName, CheckAgainst(interface)) {}

Sibling::~Sibling()
{
    Synchronize();
    if (m_expectsViolations) {
        return;
    }
    for (const std::string& violation : Violations()) {
        ReportFinding(violation);
    }
}

void Sibling::ExpectViolations()
{
    m_expectsViolations = true;
}

ConnectionManager::ConnectionManager()
    : Sibling("com.quorix.tv.bt.connectionmanager", "com.quorix.tv.bt.connectionmanager")
{}

ConnectionShift::ConnectionShift() : Sibling("com.quorix.tv.bt.connectionshift", "com.quorix.tv.bt.connectionshift") {}

HandsFreeAgent::HandsFreeAgent() : Sibling("com.quorix.tv.hfpAgent", "com.quorix.tv.hfpAgent.api") {}

UpdateManager::UpdateManager() : Sibling("com.quorix.tv.bt.updatemanager", "com.quorix.tv.bt.updatemanager") {}

IrMonitor::IrMonitor() : Sibling("com.quorix.tv.bt.irmonitor", "com.quorix.tv.bt.irmonitor") {}

KeyRouter::KeyRouter() : Sibling("", kKeyRouterInterface) {}

void KeyRouter::ReportsCombination(int code)
{
    Emits("/com/tarnwick/dbus/ping", kKeyRouterInterface, "KEY_COMBINATION", g_variant_new("(i)", code));
}

} // namespace support
