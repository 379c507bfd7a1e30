// How the Bluetooth side speaks to its sibling services.

#include "Bluetooth/SiblingCalls.h"

#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "LiteDebug.h"

void CallAndWait(CDbusClient* client, const Sibling& sibling, const char* method, GVariant* params,
                 unsigned int timeout)
{
    const Util::VariantPtr body = Util::TakeBody(params);
    if (client == nullptr) {
        LOGE("no bus client, %s is dropped", method);
        return;
    }
    const Util::VariantPtr answer(
        client->SendDbusMethodSync(sibling.name, sibling.path, sibling.interface, method, body.get(), timeout));
}

void CallAndGoOn(CDbusClient* client, const Sibling& sibling, const char* method, GVariant* params)
{
    const Util::VariantPtr body = Util::TakeBody(params);
    if (client == nullptr) {
        LOGE("no bus client, %s is dropped", method);
        return;
    }
    client->SendDbusMethod(sibling.name, sibling.path, sibling.interface, method, body.get());
}
