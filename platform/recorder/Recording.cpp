#include "recorder/Recording.h"

#include "recorder/Kind.h"
#include "recorder/Pool.h"
#include "recorder/Schema.h"
#include "recorder/ServiceId.h"
#include "recorder/Sink.h"

#include <glib.h>

#include <platform_root.h>

#include <cstdlib>
#include <functional>
#include <set>
#include <string>

namespace recorder {

namespace {

gint64 lifeBegan = 0; // on the monotonic clock, in microseconds

Writer& TheWriter()
{
    static Writer writer;
    return writer;
}

Writer& Begin(Kind kind, std::uint64_t number)
{
    Writer& writer = TheWriter();
    writer.Begin(kind);
    writer.Unsigned(number);
    return writer;
}

Writer& PutCallback(Writer& writer, Callback type, std::size_t slot, const void* userData)
{
    writer.Unsigned(static_cast<std::uint64_t>(type));
    writer.Unsigned(slot);
    writer.Unsigned(SinceGiven(type, slot, userData));
    return writer;
}

} // namespace

bool BeginLife(const char* path, std::uint64_t limit, WhenFull whenFull)
{
    if (!Start(path, limit, whenFull)) {
        return false;
    }
    TellLife();
    return true;
}

void TellLife()
{
    lifeBegan = g_get_monotonic_time();
    Writer& writer = Begin(Kind::LifeBegins, kFormat);
    writer.Unsigned(SchemaId());
    writer.Text(kServiceId);
    writer.Text(std::getenv("TZ"));
    writer.Text(platform_root());
    writer.Signed(g_get_real_time());
    End();
}

void EndLife(int status)
{
    if (IsRecording()) {
        TheWriter().Begin(Kind::LifeEnds);
        TheWriter().Signed(status);
        End();
        Stop();
    }
}

Writer& BeginCall(Function function)
{
    return Begin(Kind::Call, static_cast<std::uint64_t>(function));
}

Writer& BeginReturn(Function function)
{
    return Begin(Kind::Return, static_cast<std::uint64_t>(function));
}

Writer& BeginInput(Callback type, std::size_t slot, const void* userData)
{
    return PutCallback(Begin(Kind::Input, static_cast<std::uint64_t>(g_get_monotonic_time() - lifeBegan)), type, slot,
                       userData);
}

Writer& BeginEnters(Callback type, std::size_t slot, const void* userData)
{
    TheWriter().Begin(Kind::Enters);
    return PutCallback(TheWriter(), type, slot, userData);
}

Writer& BeginLeaves(Callback type)
{
    return Begin(Kind::Leaves, static_cast<std::uint64_t>(type));
}

Writer& BeginLog()
{
    TheWriter().Begin(Kind::Log);
    return TheWriter();
}

void End()
{
    Append(TheWriter().Record());
}

void TellLost(std::string_view what)
{
    static std::set<std::string, std::less<>> told;
    if (told.emplace(what).second) {
        TheWriter().Begin(Kind::Lost);
        TheWriter().Text(what);
        End();
    }
}

std::string_view OwnPath(const char* path)
{
    std::string_view own(path != nullptr ? path : "");
    const std::string_view root(platform_root());
    if (own.starts_with(root)) {
        own.remove_prefix(root.size());
    }
    return own;
}

} // namespace recorder
