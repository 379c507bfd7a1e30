// A set that gives constant answers and has nothing but what the measured events touch; its events come when they are
// told to. It stands in front of the skeleton, whose functions serve for everything else.
#pragma once

namespace bench {

// Each hands the event to whoever the service named for it; false when it named nobody.
bool ReportBattery(unsigned char status);
bool ChangePower(int previous, int next);
bool ConnectSpeaker(bool connected);
bool LoseLink(int reason);
bool ConnectInputDevice(bool connected);
bool ConnectLowEnergy(bool connected);
bool ChangeVolume(unsigned int volume);
bool ConnectRemote(bool connected);
// The strength of the link that was asked for last; false when none was asked for since.
bool AnswerStrength(int strength);

} // namespace bench
