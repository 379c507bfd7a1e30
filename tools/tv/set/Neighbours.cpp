#include "tv/set/Neighbours.h"

#include "GlibPointers.h"
#include "sim/HeldBack.h"
#include "sim/Queue.h"
#include "support/Description.h"
#include "support/Settle.h"
#include "tv/language/Body.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <utility>

namespace set {

using std::chrono::milliseconds;

/// One of them, and what it was told.
struct Neighbours::Neighbour
{
    Neighbour(const std::string& busName, const std::string& interface)
        : sibling(busName, interface),
          interfaceName(interface),
          description(interface)
    {
        sibling.ExpectViolations(); // they are told as what happens
    }

    support::Sibling sibling;
    std::string interfaceName;
    support::Description description;
    Behaviour behaviour = Behaviour::Answers;
    milliseconds delay{0};
    std::size_t thinking = 0; ///< calls that will be answered after the delay
    int generation = 0;       ///< so that thoughts from before another behaviour come to nothing
};

namespace {

const char* NameOf(Neighbours::Behaviour behaviour)
{
    switch (behaviour) {
    case Neighbours::Behaviour::Answers:
        return "answers";
    case Neighbours::Behaviour::Slow:
        return "slow";
    case Neighbours::Behaviour::Hangs:
        return "hang";
    case Neighbours::Behaviour::Error:
        return "error";
    case Neighbours::Behaviour::Absent:
        return "absent";
    }
    return "";
}

/// \return a tuple, null for an empty text
Util::VariantPtr BodyIn(const std::string& text)
{
    if (text.empty()) {
        return nullptr;
    }
    if (!language::IsReadable(text)) {
        throw std::runtime_error("this is no body: a byte or an escape in it is no character");
    }
    GError* failure = nullptr;
    Util::VariantPtr value(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &failure));
    const Util::ErrorPtr error(failure);
    if (!value) {
        throw std::runtime_error("this is no body, such as (1,) or ('a', true): " + text + ": " + error->message);
    }
    GVariant* body = value.get();
    return g_variant_is_of_type(body, G_VARIANT_TYPE_TUPLE) != FALSE ? std::move(value)
                                                                     : Util::TakeBody(g_variant_new_tuple(&body, 1));
}

} // namespace

Neighbours::Neighbours(sim::Television& tv) : m_tv(tv), m_keyRouter(std::make_unique<support::KeyRouter>())
{
    const auto add = [this](const char* name, const char* busName, const char* interface) {
        m_neighbours.emplace(name, std::make_unique<Neighbour>(busName, interface));
    };
    add("connectionmanager", "com.quorix.tv.bt.connectionmanager", "com.quorix.tv.bt.connectionmanager");
    add("connectionshift", "com.quorix.tv.bt.connectionshift", "com.quorix.tv.bt.connectionshift");
    add("hfpAgent", "com.quorix.tv.hfpAgent", "com.quorix.tv.hfpAgent.api");
    add("irmonitor", "com.quorix.tv.bt.irmonitor", "com.quorix.tv.bt.irmonitor");
    add("updatemanager", "com.quorix.tv.bt.updatemanager", "com.quorix.tv.bt.updatemanager");
    m_keyRouter->ExpectViolations();
    sim::HoldAnswersBack([this](const std::string& destination, const std::string& member, milliseconds timeout) {
        return HeldBack(destination, member, timeout);
    });
}

Neighbours::~Neighbours()
{
    sim::HoldAnswersBack({});
}

/// What the service waits for is answered after the time has been let pass: while it waits, nobody could let it pass.
milliseconds Neighbours::HeldBack(const std::string& destination, const std::string& member, milliseconds timeout)
{
    for (auto& [name, neighbour] : m_neighbours) {
        if (neighbour->sibling.BusName() != destination) {
            continue;
        }
        if (neighbour->behaviour == Behaviour::Hangs) {
            return timeout;
        }
        if (neighbour->behaviour == Behaviour::Slow) {
            if (neighbour->delay < timeout) {
                neighbour->sibling.AnswersNext(member);
            }
            return neighbour->delay;
        }
    }
    return milliseconds(0);
}

Neighbours::Neighbour& Neighbours::Find(const std::string& name)
{
    const auto found = m_neighbours.find(name);
    if (found == m_neighbours.end()) {
        throw std::runtime_error(name + " has no name on the bus: it cannot be called, it only sends");
    }
    return *found->second;
}

void Neighbours::Behaves(const std::string& name, Behaviour behaviour, milliseconds delay, const std::string& error)
{
    Neighbour& neighbour = Find(name);
    ++neighbour.generation;
    neighbour.thinking = 0;
    neighbour.delay = delay;
    if (neighbour.behaviour == Behaviour::Absent && behaviour != Behaviour::Absent) {
        neighbour.sibling.Reappears();
    }
    neighbour.behaviour = behaviour;
    switch (behaviour) {
    case Behaviour::Answers:
        neighbour.sibling.AnswersEverything();
        break;
    case Behaviour::Slow:
    case Behaviour::Hangs:
        neighbour.sibling.StallsEverything();
        break;
    case Behaviour::Error:
        neighbour.sibling.AnswersEverythingWithError(error, "it was told to answer so");
        break;
    case Behaviour::Absent:
        neighbour.sibling.Vanishes();
        break;
    }
}

void Neighbours::WillAnswer(const std::string& name, const std::string& member, const std::string& body)
{
    Find(name).sibling.Answers(member, BodyIn(body).get());
}

void Neighbours::Emits(const std::string& name, const std::string& member, const std::string& body)
{
    if (name == "keyrouter") {
        m_keyRouter->Emits("/com/tarnwick/dbus/ping", "keyrouter.dbus.Signal", member, BodyIn(body).get());
        return;
    }
    Neighbour& neighbour = Find(name);
    if (neighbour.behaviour == Behaviour::Absent) {
        throw std::runtime_error(name + " is absent");
    }
    neighbour.sibling.Emits(neighbour.description.Path(), neighbour.interfaceName, member, BodyIn(body).get());
}

void Neighbours::KeySequence(int code)
{
    m_keyRouter->ReportsCombination(code);
}

/// Each call that waits is answered after the delay, in the order in which they came.
void Neighbours::Think(Neighbour& neighbour)
{
    for (; neighbour.thinking < neighbour.sibling.StalledCalls(); ++neighbour.thinking) {
        m_tv.queue.PostAfter(neighbour.delay, [&neighbour, generation = neighbour.generation] {
            if (generation == neighbour.generation) {
                --neighbour.thinking;
                neighbour.sibling.ReleasesOldest();
            }
        });
    }
}

void Neighbours::Settle()
{
    support::Settle({&m_neighbours["connectionmanager"]->sibling, &m_neighbours["connectionshift"]->sibling,
                     &m_neighbours["hfpAgent"]->sibling, &m_neighbours["irmonitor"]->sibling,
                     &m_neighbours["updatemanager"]->sibling, m_keyRouter.get()});
    for (auto& [name, neighbour] : m_neighbours) {
        neighbour->sibling.Clear(); // what they were sent is on the tape
        if (neighbour->behaviour == Behaviour::Slow) {
            Think(*neighbour);
        }
    }
}

void Neighbours::AwaitsGDBus()
{
    m_keyRouter->AwaitsGDBus(); // the one that never goes
}

bool Neighbours::IsSomebodySlow() const
{
    return std::ranges::any_of(m_neighbours,
                               [](const auto& neighbour) { return neighbour.second->behaviour == Behaviour::Slow; });
}

std::size_t Neighbours::HowManyAreThere() const
{
    return static_cast<std::size_t>(std::ranges::count_if(
        m_neighbours, [](const auto& neighbour) { return neighbour.second->behaviour != Behaviour::Absent; }));
}

std::vector<Neighbours::State> Neighbours::States() const
{
    std::vector<State> states;
    for (const auto& [name, neighbour] : m_neighbours) {
        states.push_back({name, NameOf(neighbour->behaviour)});
    }
    return states;
}

std::vector<std::string> Neighbours::NewViolations()
{
    std::vector<std::string> news;
    for (auto& [name, neighbour] : m_neighbours) {
        const std::vector<std::string> taken = neighbour->sibling.TakeViolations();
        news.insert(news.end(), taken.begin(), taken.end());
    }
    return news;
}

} // namespace set
