#include "Service.h"

#include "sim/Features.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "support/MainLoop.h"

#include <initializer_list>

namespace fuzz {

Service::Service()
{
    // As many ways through the service as one kind of set has.
    for (const char* feature : {"bluetooth.hfp_support", "bluetooth.a2dp_source_support", "ble_support"}) {
        tv.features.Has(feature);
    }
    m_bluetooth.Init(dbus, remotes);
    remotes->Init(dbus);
    m_tvStatus.Init(dbus, remotes);
    m_settings.Init(dbus);
    Settles();
}

Service::~Service()
{
    m_bluetooth.Deinit();
    m_tvStatus.Deinit();
    m_settings.Deinit();
    remotes->Deinit();
    tv.ServiceHasStopped();
    tv.queue.Clear();
    // Timers of the service that outlive it come now, and not within the next input.
    remotes.reset();
    dbus.reset();
    clock.Advance(std::chrono::hours(2));
}

void Service::Settles()
{
    support::DrainMainLoop();
    tv.tape.Clear();
}

void Service::TimePasses(std::chrono::milliseconds time)
{
    clock.Advance(time);
    Settles();
}

} // namespace fuzz
