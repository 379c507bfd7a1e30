#pragma once

/// What an ADC reading or an illuminance is when the platform does not say. A sensor that reads -1 cannot be told from
/// it; the batteries' ADC reads 0 to 31.
inline constexpr int kNoReading = -1;

/// The code under which a battery report goes to the collector, among the codes of the charging reports.
inline constexpr unsigned char kBatteryReported = 9;
