#include "sim/ScreenAndSound.h"

#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <chrono>

namespace sim {

void ScreenAndSound::LockAmbient(int timeoutMs)
{
    m_ambientLock = ++m_lockCount;
    m_tv.queue.PostAfter(std::chrono::milliseconds(timeoutMs), [this, lock = m_ambientLock] {
        if (m_ambientLock == lock) {
            UnlockAmbient();
            m_tv.tape.Note("the lock of the low-power picture runs out");
        }
    });
}

void ScreenAndSound::UnlockAmbient()
{
    m_ambientLock = 0;
}

} // namespace sim
