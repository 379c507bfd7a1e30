#include "people/Requests.h"

#include "bus/Handles.h"

#include <utility>

namespace people {

std::vector<Request> RequestsIn(GVariant* reply)
{
    std::vector<Request> requests;
    const bus::VariantPtr list(g_variant_get_child_value(reply, 0));
    for (gsize index = 0; index < g_variant_n_children(list.get()); ++index) {
        const char* kind = nullptr;
        const char* address = nullptr;
        const char* name = nullptr;
        const char* passkey = nullptr;
        const char* uuid = nullptr;
        Request request;
        g_variant_get_child(list.get(), index, "(t&s&s&si&s&su)", &request.id, &kind, &address, &name, &request.code,
                            &passkey, &uuid, &request.leftMs);
        request.kind = kind;
        request.address = address;
        request.name = name;
        request.passkey = passkey;
        request.uuid = uuid;
        requests.push_back(std::move(request));
    }
    return requests;
}

Answer AnswerTo(const Request& request, bool accept, const std::string& code, bool trust)
{
    const char* address = request.address.c_str();
    const gboolean accepted = accept ? TRUE : FALSE;
    if (request.kind == "service") {
        return {"AnswerService", g_variant_new("(sibb)", address, request.code, accepted, trust ? TRUE : FALSE)};
    }
    if (request.kind == "consent") {
        return {"AnswerConsent", g_variant_new("(sb)", address, accepted)};
    }
    return {"AnswerAuthentication", g_variant_new("(sbs)", address, accepted, code.c_str())};
}

} // namespace people
