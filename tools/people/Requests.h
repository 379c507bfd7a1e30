#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace people {

/// A device that waits for an answer, as org.vantor.platform.Pairing1 lists it.
struct Request
{
    guint64 id = 0;
    std::string kind; ///< "authentication", "consent" or "service"
    std::string address;
    std::string name;
    int code = 0; ///< how to authenticate, or the service
    std::string passkey;
    std::string uuid;
    guint32 leftMs = 0;
};

/// The type of the reply that lists them.
inline constexpr const char* kRequestsType = "(a(tsssissu))";

/// \param reply of kRequestsType
std::vector<Request> RequestsIn(GVariant* reply);

/// A call of Pairing1.
struct Answer
{
    const char* method;
    GVariant* arguments; ///< floating
};

/// \param code the PIN or the passkey where one is to be entered
/// \param trust spares later questions about services
Answer AnswerTo(const Request& request, bool accept, const std::string& code, bool trust);

} // namespace people
