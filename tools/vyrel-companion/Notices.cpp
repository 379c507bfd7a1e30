#include "vyrel-companion/Notices.h"

#include "people/Text.h"

#include <cstdio>

namespace companion {

namespace {

void Write(std::FILE* file, const std::string& line)
{
    std::fputs((line + "\n").c_str(), file);
    std::fflush(file);
    std::clearerr(file);
}

} // namespace

void Tell(const std::string& text)
{
    Write(stdout, people::Printable(text));
}

void Complain(const std::string& text)
{
    Write(stderr, "vyrel-companion: " + people::Printable(text));
}

} // namespace companion
