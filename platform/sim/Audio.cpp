#include "sim/Audio.h"

#include "sim/Misuse.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <bt_audio.h>
#include <bt_error.h>

#include <utility>

namespace sim {

void Audio::Connects(const std::string& address, int type, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is connected for audio of type " + std::to_string(type));
    if (result == 0) {
        m_connected.insert_or_assign(type, address);
    }
    m_tv.queue.Post([=, this] { onConnection.Tell(result, true, address.c_str(), type); });
}

void Audio::Disconnects(const std::string& address, int type, int result)
{
    const Tape::Scope happens = m_tv.tape.Note(address + " is disconnected from audio of type " + std::to_string(type));
    m_connected.erase(type);
    m_tv.queue.Post([=, this] { onConnection.Tell(result, false, address.c_str(), type); });
}

void Audio::ServiceLevel(bool connected, const std::string& address)
{
    m_tv.queue.Post([=, this] { onServiceLevel.Tell(connected, address.c_str()); });
}

void Audio::ControlConnects(bool connected, const std::string& address)
{
    m_tv.queue.Post([=, this] { onControl.Tell(connected, address.c_str()); });
}

void Audio::TargetConnects(bool connected, const std::string& address)
{
    m_tv.queue.Post([=, this] { onTarget.Tell(connected, address.c_str()); });
}

void Audio::InterimVolume(const std::string& address, unsigned int volume)
{
    m_tv.queue.Post([=, this] { onInterimVolume.Tell(address.c_str(), volume); });
}

void Audio::AbsoluteVolume(const std::string& address, unsigned int volume)
{
    m_tv.queue.Post([=, this] { onAbsoluteVolume.Tell(address.c_str(), volume); });
}

bt_audio_connected_info_s* Audio::NewRecord(int type)
{
    const auto found = m_connected.find(type);
    if (found == m_connected.end()) {
        return nullptr;
    }
    auto record = std::make_unique<Record>(Record{found->second, {}});
    record->info = {recordsHaveAddress ? record->address.data() : nullptr, type};
    bt_audio_connected_info_s* info = &record->info;
    m_records.emplace(info, std::move(record));
    return info;
}

void Audio::FreeRecord(bt_audio_connected_info_s* record)
{
    if (record != nullptr && m_records.erase(record) == 0) {
        Misuse("an audio record is freed that was not given out, or twice");
    }
}

void Audio::CheckRecords() const
{
    if (!m_records.empty()) {
        Misuse(std::to_string(m_records.size()) + " audio records were never freed");
    }
}

int Audio::Disconnect(const std::string& address, int type)
{
    const auto found = m_connected.find(type);
    if (found == m_connected.end() || found->second != address) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    m_connected.erase(found);
    m_tv.queue.Post([=, this] { onConnection.Tell(0, false, address.c_str(), type); });
    return BT_ERROR_NONE;
}

} // namespace sim
