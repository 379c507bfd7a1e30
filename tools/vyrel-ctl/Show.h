#pragma once

#include "bluez/Tree.h"
#include "people/Bus.h"
#include "people/Requests.h"
#include "vyrel-ctl/Box.h"

#include <string>
#include <vector>

namespace control {

// Parts of what the box says of itself, as lines for people and as a value of JSON.

std::string DeviceLines(const std::vector<bluez::Device>& devices, const std::string& indent = {});
std::string DeviceJson(const std::vector<bluez::Device>& devices);

std::string RemoteLines(const std::vector<RemoteNow>& remotes, const std::string& indent = {});
std::string RemoteJson(const std::vector<RemoteNow>& remotes);

std::string PowerLine(const PowerNow& power);
std::string PowerJson(const PowerNow& power);

std::string RequestLines(const std::vector<people::Request>& requests);
std::string RequestJson(const std::vector<people::Request>& requests);

std::string FeatureLines(const std::vector<Feature>& features);
std::string FeatureJson(const std::vector<Feature>& features);

/// The devices that matter to people: paired or connected.
std::vector<bluez::Device> Befriended(std::vector<bluez::Device> devices);

/// All at a glance. What cannot be had is named in its place.
/// \return the exit status: that of the first part that cannot be had
int ShowStatus(const people::Bus& bus, bool json);

} // namespace control
