// Who may use the settings: whoever may use their folder, and nobody else.
//
// A folder is made for its owner alone (0700). An integrator who gives it to a group, with all rights (0770, better
// 2770), gives the settings to that group. The files in it follow: 0600, or 0660 with the folder's group and owner. So
// nobody else can read a value, nor take a lock that holds a writer up.
//
// What an earlier release or a hand left with other rights is put right by whoever opens it and is allowed to, which is
// its owner and root. Where that is not allowed it stays as it is: what can be used is used.
#pragma once

#include <sys/types.h>

#include <string>
#include <system_error>

namespace settings {

// What the files of one folder get.
struct Rights
{
    bool shared = false; // with the group
    uid_t owner = 0;
    gid_t group = 0;

    // Whoever may read what has these rights may read what has the others.
    bool AreForTheSame(const Rights& other) const
    {
        return shared == other.shared && owner == other.owner && (!shared || group == other.group);
    }
    mode_t FileMode() const
    {
        return shared ? 0660 : 0600;
    }
};

// Makes a folder of the store where it is missing, and takes from everybody else what an existing one grants them. A
// folder that holds other things too keeps its rights: they are not for the store to decide.
std::error_code PrepareFolder(const std::string& folder, Rights& rights);

// The same for a folder within one of the store's, which follows that in its rights.
std::error_code PrepareInnerFolder(const std::string& folder, Rights& rights);

// Gives a file of the store its rights. A missing one and a symbolic link are left alone.
void ApplyRights(const std::string& file, const Rights& rights);

} // namespace settings
