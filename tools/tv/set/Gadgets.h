#pragma once

#include "sim/Devices.h"
#include "sim/Remotes.h"
#include "sim/Television.h"
#include "tv/language/Line.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace set {

/// The things beside the set that one can pick up: remote and wheel; speaker, phone and keyboard; the stand.
class Gadgets
{
public:
    explicit Gadgets(sim::Television& tv);

    /// Carries out a line about one of them.
    /// \return false when it is about something else
    bool Does(const language::Line& line);

    struct Device
    {
        std::string kind; ///< "speaker", "phone" or "keyboard"
        std::string address;
        std::string name;
        unsigned int majorClass;
        unsigned int minorClass; ///< not shifted
        bool connected = false;
        bool saysName = true; ///< when it is paired
    };
    [[nodiscard]] const std::vector<Device>& Devices() const
    {
        return m_devices;
    }

    /// What a set that is plugged in later has to be told of them, as lines: what they are and who is paired.
    [[nodiscard]] std::vector<std::string> Furniture() const;

private:
    bool DoesRemote(const language::Line& line);
    bool DoesDevice(const language::Line& line);
    bool DoesLowEnergy(const language::Line& line);
    bool DoesStand(const language::Line& line);
    sim::Remote& RemoteOf(const language::Line& line);
    Device& DeviceOf(const language::Line& line);
    void Connects(Device& device);
    void Disconnects(Device& device, int reason);
    void Loses(Device& device, int reason);
    void EndsProfiles(const Device& device);
    [[nodiscard]] sim::Device Record(const Device& device) const;
    void AddRemote(std::vector<std::string>& lines, const std::string& name, const sim::Remote& remote) const;

    sim::Television& m_tv;
    std::vector<Device> m_devices;
    std::map<std::string, std::string> m_kindOf; ///< of each address that was ever used
};

} // namespace set
