#include "Privileges.h"

#include <cerrno>
#include <cstring>
#include <sys/fsuid.h>
#include <unistd.h>

namespace privileges {

bool GroupGranted() {
    gid_t real, effective, saved;
    return ::getresgid(&real, &effective, &saved) != 0 || effective != real || saved != real;
}

std::string DropGroup() {
    gid_t real, effective, saved;
    if (::getresgid(&real, &effective, &saved) != 0)
        return std::string("cannot read the process's groups: ") + std::strerror(errno);
    const gid_t granted = effective != real ? effective : saved;
    const std::string what = "cannot give up group " + std::to_string(granted) + " for good";
    if (::setresgid(real, real, real) != 0) return what + ": " + std::strerror(errno);
    gid_t r, e, s;
    if (::getresgid(&r, &e, &s) != 0 || r != real || e != real || s != real ||
        gid_t(::setfsgid(gid_t(-1))) != real)
        return what + ": the groups did not change";
    // Only the superuser may take any group back; anyone else must not get this one again.
    if (::geteuid() != 0 && ::setegid(granted) == 0) {
        // Whatever this second drop does, the program ends on the message.
        [[maybe_unused]] const int again = ::setresgid(real, real, real);
        return what + ": it can be taken back";
    }
    return {};
}

} // namespace privileges
