#include "DbusClient/Sibling.h"

#include "DbusClient/DbusClient.h"
#include "LiteDebug.h"

namespace {

bool IsThere(const CDbusClient* client, const std::string& member)
{
    if (client == nullptr) {
        LOGE("no bus client, %s is dropped", member.c_str());
    }
    return client != nullptr;
}

} // namespace

void Call(CDbusClient* client, const Sibling& sibling, const std::string& method, GVariant* body)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    if (IsThere(client, method)) {
        client->SendDbusMethod(sibling.name, sibling.path, sibling.interface, method, owned.get());
    }
}

Util::VariantPtr Ask(CDbusClient* client, const Sibling& sibling, const std::string& method, GVariant* body,
                     unsigned int timeout)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    if (!IsThere(client, method)) {
        return nullptr;
    }
    return Util::VariantPtr(
        client->SendDbusMethodSync(sibling.name, sibling.path, sibling.interface, method, owned.get(), timeout));
}

void Signal(CDbusClient* client, const Sibling& sibling, const std::string& signal, GVariant* body)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    if (IsThere(client, signal)) {
        client->SendDbusSignal(sibling.name, sibling.path, sibling.interface, signal, owned.get());
    }
}
