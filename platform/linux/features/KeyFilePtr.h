#pragma once

#include <glib.h>

#include <memory>

namespace features {

struct KeyFileFree
{
    void operator()(GKeyFile* file) const
    {
        g_key_file_free(file);
    }
};
using KeyFilePtr = std::unique_ptr<GKeyFile, KeyFileFree>;

} // namespace features
