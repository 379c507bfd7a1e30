// bench_calls: the bus client's three ways to talk, each against the least that sends the same message.
//
// usage: bench_calls sync ROUNDS CALLS                 nanoseconds, a line a round: floor, client
//        bench_calls send WHICH COUNT                  sends so many and ends, for an instruction counter
// WHICH is FloorCall, ClientCall, FloorSignal or ClientSignal.
//
// The peer has to be on the bus already. The messages are like the service's: named by constants, four values.

#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "calls.h"

#include <gio/gio.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kPeer = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kPath = "/com/quorix/tv/bt/connectionmanager";
constexpr const char* kMember = "DeviceConnectionStateChanged";
constexpr int kTimeout = 5000;

GVariant* Body()
{
    return g_variant_new("(ssii)", "00:11:22:33:44:55", "Smart Remote", 1, 80);
}

class Calls
{
public:
    Calls() : m_connection(m_client.GetSystemConnection())
    {
        if (m_connection == nullptr) {
            throw std::runtime_error("no bus");
        }
    }

    void FloorSync(GVariant* body)
    {
        Expect(floor_call_sync(m_connection, kPeer, kPath, kPeer, kMember, body, kTimeout));
    }
    void ClientSync(GVariant* body)
    {
        Expect(m_client.SendDbusMethodSync(kPeer, kPath, kPeer, kMember, body, kTimeout));
    }
    // The instruction counter is told to look at these four only, by their names.
    void FloorCall(GVariant* body)
    {
        floor_call(m_connection, kPeer, kPath, kPeer, kMember, body);
    }
    void ClientCall(GVariant* body)
    {
        m_client.SendDbusMethod(kPeer, kPath, kPeer, kMember, body);
    }
    void FloorSignal(GVariant* body)
    {
        floor_signal(m_connection, kPeer, kPath, kPeer, kMember, body);
    }
    void ClientSignal(GVariant* body)
    {
        m_client.SendDbusSignal(kPeer, kPath, kPeer, kMember, body);
    }
    void Flush()
    {
        g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
    }

private:
    // A call that failed is quick, and would be measured as a good one.
    static void Expect(GVariant* answer)
    {
        const Util::VariantPtr owned(answer);
        if (!owned || g_variant_is_of_type(owned.get(), G_VARIANT_TYPE("(i)")) == FALSE) {
            throw std::runtime_error("the peer did not answer");
        }
    }

    CDbusClient m_client;
    GDBusConnection* m_connection;
};

using Call = void (Calls::*)(GVariant*);

const std::map<std::string_view, Call> kSending = {{"FloorCall", &Calls::FloorCall},
                                                   {"ClientCall", &Calls::ClientCall},
                                                   {"FloorSignal", &Calls::FloorSignal},
                                                   {"ClientSignal", &Calls::ClientSignal}};

long Nanoseconds(Calls& calls, Call call)
{
    GVariant* body = Body();
    const auto start = std::chrono::steady_clock::now();
    (calls.*call)(body);
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
}

long Median(std::vector<long>& times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// Call by call in turns, and who goes first changes too, so that both meet the same disturbances.
void MeasureSync(Calls& calls, int rounds, int callsPerRound)
{
    for (int round = 0; round < rounds; ++round) {
        std::vector<long> floorTimes;
        std::vector<long> clientTimes;
        for (int i = 0; i < callsPerRound; ++i) {
            const bool floorFirst = i % 2 == 0;
            if (floorFirst) {
                floorTimes.push_back(Nanoseconds(calls, &Calls::FloorSync));
            }
            clientTimes.push_back(Nanoseconds(calls, &Calls::ClientSync));
            if (!floorFirst) {
                floorTimes.push_back(Nanoseconds(calls, &Calls::FloorSync));
            }
        }
        std::printf("%ld\t%ld\n", Median(floorTimes), Median(clientTimes));
    }
}

/// Each message leaves before the next is made: the sending thread would otherwise run ahead by an amount that changes
/// from run to run, and with it how often it has to wake GDBus's own thread.
void Send(Calls& calls, Call call, int count)
{
    for (int i = 0; i < count; ++i) {
        (calls.*call)(Body());
        calls.Flush();
    }
}

int Usage()
{
    std::fputs("usage: bench_calls sync ROUNDS CALLS\n"
               "       bench_calls send FloorCall|ClientCall|FloorSignal|ClientSignal COUNT\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        return Usage();
    }
    const std::string_view task = argv[1];
    try {
        Calls calls;
        if (task == "sync") {
            MeasureSync(calls, std::atoi(argv[2]), std::atoi(argv[3]));
        } else if (const auto call = kSending.find(argv[2]); task == "send" && call != kSending.end()) {
            Send(calls, call->second, std::atoi(argv[3]));
        } else {
            return Usage();
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_calls: %s\n", exception.what());
        return EXIT_FAILURE;
    }
}
