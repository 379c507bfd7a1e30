#include "sensor/Proxy.h"

#include "Log.h"

#include <string_view>
#include <utility>

namespace sensor {

namespace {

constexpr const char* kName = "net.hadess.SensorProxy";
constexpr const char* kPath = "/net/hadess/SensorProxy";
constexpr const char* kInterface = "net.hadess.SensorProxy";

/// A sensor that was claimed just now has not measured yet, and says 0 until it has.
constexpr gint64 kStepUs = 50'000;
/// Left for the last answer.
constexpr gint64 kAnswerUs = 300'000;

} // namespace

Proxy& Proxy::OfProcess()
{
    static Proxy proxy;
    return proxy;
}

Proxy::~Proxy()
{
    bus::SystemBus::Shared().Leave(*this);
}

void Proxy::BusCame(GDBusConnection*)
{
    m_claimedFrom.clear();
}

void Proxy::BusWent(GDBusConnection*)
{
    m_claimedFrom.clear();
}

bus::VariantPtr Proxy::Ask(const Question& question, GVariant* body, const GVariantType* type) const
{
    const bus::VariantPtr owned = bus::Take(body);
    GDBusConnection* connection = bus::SystemBus::Shared().Connection();
    const gint64 left = (m_deadline - g_get_monotonic_time()) / G_TIME_SPAN_MILLISECOND;
    if (connection == nullptr || left <= 0) {
        return nullptr;
    }
    // No proxy object: it would keep a match rule and a cache for a question an hour.
    return bus::VariantPtr(g_dbus_connection_call_sync(connection, question.name, question.path, question.interface,
                                                       question.method, owned.get(), type, G_DBUS_CALL_FLAGS_NONE,
                                                       static_cast<int>(left), nullptr, nullptr));
}

bus::VariantPtr Proxy::Property(const char* name, const GVariantType* type)
{
    const bus::VariantPtr answer = Ask({kName, kPath, "org.freedesktop.DBus.Properties", "Get"},
                                       g_variant_new("(ss)", kInterface, name), G_VARIANT_TYPE("(v)"));
    if (!answer) {
        return nullptr;
    }
    GVariant* value = nullptr;
    g_variant_get(answer.get(), "(v)", &value);
    bus::VariantPtr owned(value);
    return g_variant_is_of_type(value, type) != FALSE ? std::move(owned) : nullptr;
}

/// The claim is kept, so that the next reading is a fresh one at once. A daemon that was restarted knows of none.
bool Proxy::Claim(bool* isFresh)
{
    const bus::VariantPtr answer =
        Ask({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner"},
            g_variant_new("(s)", kName), G_VARIANT_TYPE("(s)"));
    if (!answer) {
        return false;
    }
    const char* owner = nullptr;
    g_variant_get(answer.get(), "(&s)", &owner);
    *isFresh = m_claimedFrom != owner;
    if (*isFresh && !Ask({kName, kPath, kInterface, "ClaimLight"}, nullptr, G_VARIANT_TYPE_UNIT)) {
        PLATFORM_LOG(DLOG_WARN, "the sensor daemon lets nobody claim its light sensor");
        return false;
    }
    m_claimedFrom = owner;
    return true;
}

/// \return whether there was time for it, and for a question after it
bool Proxy::Pauses() const
{
    if (g_get_monotonic_time() + kStepUs + kAnswerUs >= m_deadline) {
        return false;
    }
    g_usleep(static_cast<gulong>(kStepUs));
    return true;
}

std::optional<Reading> Proxy::Read(bool* isThere)
{
    *isThere = false;
    bus::SystemBus::Shared().Enter(*this);
    m_deadline = g_get_monotonic_time() + kPatienceMs * G_TIME_SPAN_MILLISECOND;
    const bus::VariantPtr has = Property("HasAmbientLight", G_VARIANT_TYPE_BOOLEAN);
    if (!has || g_variant_get_boolean(has.get()) == FALSE) {
        return std::nullopt;
    }
    *isThere = true;
    const bus::VariantPtr unit = Property("LightLevelUnit", G_VARIANT_TYPE_STRING);
    if (!unit || std::string_view(g_variant_get_string(unit.get(), nullptr)) != "lux") {
        return std::nullopt; // the sensor's own steps, which tell nothing
    }
    bool isFresh = false;
    if (!Claim(&isFresh)) {
        return std::nullopt;
    }
    Reading reading;
    do {
        const bus::VariantPtr level = Property("LightLevel", G_VARIANT_TYPE_DOUBLE);
        if (!level) {
            return std::nullopt;
        }
        reading.lux = ToWord(g_variant_get_double(level.get()));
    } while (reading.lux == 0 && isFresh && Pauses());
    return reading;
}

} // namespace sensor
