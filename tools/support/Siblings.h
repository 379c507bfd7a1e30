#pragma once

#include "support/Description.h"
#include "support/Peer.h"

#include <string>

namespace support {

/// A peer that is held to what data/dbus-1/interfaces says about it: what a service sent otherwise is a finding.
class Sibling : public Peer
{
public:
    /// \param interface names the file that describes it
    Sibling(const std::string& busName, const std::string& interface);

    /// Takes in what is still on its way, then reports each violation as a finding.
    ~Sibling();

    /// For who looks at the violations: they are no findings.
    void ExpectViolations();

private:
    bool m_expectsViolations = false;
};

class ConnectionManager : public Sibling
{
public:
    ConnectionManager();
};

class ConnectionShift : public Sibling
{
public:
    ConnectionShift();
};

class HandsFreeAgent : public Sibling
{
public:
    HandsFreeAgent();
};

/// Answers nothing to its three update requests unless told: say what it answers.
class UpdateManager : public Sibling
{
public:
    UpdateManager();
};

class IrMonitor : public Sibling
{
public:
    IrMonitor();
};

/// Has no name on the bus and is sent nothing; it only emits.
class KeyRouter : public Sibling
{
public:
    KeyRouter();

    /// Reports a key sequence: 51 switches the adapter off, 52 on.
    void ReportsCombination(int code);
};

} // namespace support
