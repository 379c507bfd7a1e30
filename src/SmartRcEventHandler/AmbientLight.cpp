// The light in the room: a sample an hour, eight samples an event.

#include "CommonUtil.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/Readings.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"

#include <glib.h>

#include <ppi_ecs.h>

#include <array>
#include <ctime>
#include <list>
#include <string>
#include <utility>

namespace {

constexpr unsigned int kSamplePeriodMs = 3600000;
constexpr std::size_t kSlots = 8;
constexpr const char* kSampleStatus = "2";

/// \param sensor left alone when the answer is false
bool ReadSensor(ppi_ecs_colorsensor_info& sensor)
{
    if (ppi_ecs_get_colorsensor_info(&sensor) != 0) {
        LOGE("getting sensor info failed");
        return false;
    }
    return true;
}

/// Appends one field of all samples: always eight slots with "|" between them, the last ones empty where samples are
/// missing.
void AppendSlots(const std::list<AmbiLightStruct>& samples, std::string AmbiLightStruct::*field, std::string& text)
{
    for (const AmbiLightStruct& sample : samples) {
        text += sample.*field + "|";
    }
    if (samples.size() == kSlots) {
        text.erase(text.rfind('|'));
    } else if (samples.size() < kSlots) {
        text.append(kSlots - 1 - samples.size(), '|');
    }
}

gboolean OnSampleTimer(gpointer userData)
{
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL", G_SOURCE_REMOVE);
    // With the eighth sample this removes the very timer that is running; that it is to go on is then without effect.
    handler->SaveAmbiLightInfo();
    return G_SOURCE_CONTINUE;
}

} // namespace

void CSmartRcEventHandler::StartAmbiLightTimer()
{
    if (m_ambiLightTimerId != 0) {
        StopAmbiLightTimer();
    }
    m_ambiLightTimerId = g_timeout_add(kSamplePeriodMs, OnSampleTimer, this);
    LOGI("Start AmbiLight Timer %d", static_cast<int>(m_ambiLightTimerId));
}

void CSmartRcEventHandler::StopAmbiLightTimer()
{
    LOGI("Stop AmbiLight Kpi Info");
    Util::CommonUtil::RemoveTimer(&m_ambiLightTimerId);
}

void CSmartRcEventHandler::GetLuxValue(int& lux) const
{
    ppi_ecs_colorsensor_info sensor = {};
    lux = ReadSensor(sensor) ? static_cast<int>(sensor.illuminance) : kNoReading;
}

bool CSmartRcEventHandler::GetCurrentSensorInfo(AmbiLightStruct& sample) const
{
    ppi_ecs_colorsensor_info sensor = {};
    if (!ReadSensor(sensor)) {
        return false;
    }
    sample.lux = Util::CommonUtil::ToString(static_cast<int>(sensor.illuminance));
    sample.cct = Util::CommonUtil::ToString(static_cast<int>(sensor.color_temperature));
    GetCurrentTime(sample.timeStamp);
    return true;
}

void CSmartRcEventHandler::GetCurrentTime(std::string& time) const
{
    // The time zone may have been changed since the last sample.
    ::tzset();
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    std::array<char, 32> text = {};
    if (::localtime_r(&now, &local) == nullptr || std::strftime(text.data(), text.size(), "%F %T", &local) == 0) {
        LOGE("getting local time failed");
        return;
    }
    time = text.data();
}

void CSmartRcEventHandler::SaveAmbiLightInfo()
{
    AmbiLightStruct sample;
    sample.status = kSampleStatus;
    if (!GetCurrentSensorInfo(sample)) {
        LOGE("failed to get sensor info");
        return;
    }
    m_ambiLightList.push_back(std::move(sample));
    LOGI("save AmbiLight Kpi Info");
    if (m_ambiLightList.size() == kSlots) {
        SendAmbiLightKpi();
    }
}

void CSmartRcEventHandler::GetSavedAllLuxInfo(std::string& lux) const
{
    AppendSlots(m_ambiLightList, &AmbiLightStruct::lux, lux);
}

void CSmartRcEventHandler::GetSavedAllCctInfo(std::string& cct) const
{
    AppendSlots(m_ambiLightList, &AmbiLightStruct::cct, cct);
}

void CSmartRcEventHandler::GetSavedAllTimeStampInfo(std::string& timeStamps) const
{
    AppendSlots(m_ambiLightList, &AmbiLightStruct::timeStamp, timeStamps);
}

void CSmartRcEventHandler::GetSavedStatusInfo(std::string& status) const
{
    AppendSlots(m_ambiLightList, &AmbiLightStruct::status, status);
}

void CSmartRcEventHandler::ClearAmbiLightInfo()
{
    m_ambiLightList.clear();
}

void CSmartRcEventHandler::SendAmbiLightKpi()
{
    StopAmbiLightTimer();
    if (m_ambiLightList.empty()) {
        LOGI("saved AmbiLight Kpi Info is none");
        return;
    }
    KpiAmbientLight samples;
    GetSavedAllLuxInfo(samples.lux);
    GetSavedAllCctInfo(samples.colourTemperature);
    GetSavedAllTimeStampInfo(samples.localTime);
    GetSavedStatusInfo(samples.status);
    Kpi::SendAmbientLight(samples);
    ClearAmbiLightInfo();
}
