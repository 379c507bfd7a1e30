// The calls that every program on the bus understands, with a bound on the wait.
#pragma once

#include "bus/Deadline.h"
#include "bus/Handles.h"

#include <gio/gio.h>

#include <functional>
#include <string>

namespace bus {

/// \p value may be null; it is a share of the caller's.
using Answered = std::function<void(GVariant* value, const GError* error)>;

/// Another program, by the unique name of its present life: who is dead does not answer, and who comes after it is
/// another one.
struct Remote
{
    GDBusConnection* connection = nullptr;
    std::string owner;

    [[nodiscard]] bool IsThere() const
    {
        return connection != nullptr && !owner.empty();
    }
};

/// Waits for a property. Null with \p error set when there was none; \p error may not be null.
VariantPtr GetProperty(const Remote& remote, const std::string& path, const char* interface, const char* property,
                       const Deadline& deadline, ErrorPtr& error);

/// Waits until a property is set. \p value is taken over.
/// \return whether it is
bool SetProperty(const Remote& remote, const std::string& path, const char* interface, const char* property,
                 GVariant* value, const Deadline& deadline, ErrorPtr& error);

/// Sets a property without waiting. \p answered, which may be empty, comes from the main loop.
void SetPropertyLater(const Remote& remote, const std::string& path, const char* interface, const char* property,
                      GVariant* value, Answered answered = {});

/// Asks for all objects, without waiting: a{oa{sa{sv}}}.
void GetObjectsLater(const Remote& remote, Answered answered);
VariantPtr GetObjects(const Remote& remote, const Deadline& deadline, ErrorPtr& error);

/// Makes a completion of generated code out of a function: pass OnDone and the answer of Done(...).
gpointer Done(std::function<void(GObject* source, GAsyncResult* result)> deed);
void OnDone(GObject* source, GAsyncResult* result, gpointer deed);

} // namespace bus
