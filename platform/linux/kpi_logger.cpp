#include "kpi/Event.h"
#include "kpi/EventFile.h"
#include "log/Journal.h"

#include <glib.h>

#include <kpi_logger.h>

#include <memory>
#include <string>
#include <utility>

namespace {

std::string Now()
{
    GDateTime* now = g_date_time_new_now_utc();
    char* text = g_date_time_format(now, "%Y-%m-%dT%H:%M:%S.%fZ");
    std::string result(text);
    g_free(text);
    g_date_time_unref(now);
    return result;
}

struct Answer
{
    void (*callback)(int result, void* userData);
    void* userData;
    int result;
};

gboolean Tell(gpointer data)
{
    const auto* answer = static_cast<Answer*>(data);
    answer->callback(answer->result, answer->userData);
    return G_SOURCE_REMOVE;
}

void Forget(gpointer data)
{
    const std::unique_ptr<Answer> owned(static_cast<Answer*>(data));
}

} // namespace

namespace KPILogFramework {

CLogger* CLogger::GetInstance()
{
    static CLogger logger;
    return &logger;
}

// Both places take an event within microseconds, so it is handed over at once: a service that ends in the next moment
// has lost none.
int CLogger::AddEventLogAsync(std::string category, std::string name, std::string code, std::string description,
                              void (*callback)(int result, void* userData), void* userData)
{
    static kpi::EventFile file;
    const kpi::Event event = {std::move(category), std::move(name), std::move(code), std::move(description)};
    const bool isInJournal = event.ToJournal() == journal::Journal::Outcome::Taken;
    const bool isInFile = file.Append(event.ToJson(Now()));
    if (callback != nullptr) {
        auto answer = std::make_unique<Answer>(Answer{callback, userData, isInJournal || isInFile ? 0 : -1});
        g_idle_add_full(G_PRIORITY_DEFAULT, Tell, answer.release(), Forget);
    }
    return 0;
}

} // namespace KPILogFramework
