// Who may read, write and run a file: what is taken from an original and given to its copy.
#pragma once

#include "engine/support/Bytes.h"

#include <sys/types.h>

namespace nullprint {

class Permissions {
public:
    // Owner, group and others by their bits alone.
    explicit Permissions(mode_t mode = 0);
    // Those of an open file with this mode, and its list of further users and groups (acl(5)).
    // Where that cannot be read, nobody but the owner is left: with a list, the group's bits are
    // not the group's.
    static Permissions of(int file, mode_t mode);

    // Gives them to an open file; where the file cannot have the list, nobody but its owner gets
    // any. False when not even that could be done.
    bool giveTo(int file) const;

private:
    mode_t mode;
    Bytes list; // As the system keeps it; empty without one.
};

} // namespace nullprint
