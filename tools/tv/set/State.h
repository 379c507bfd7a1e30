#pragma once

#include <string>

namespace set {

class Stage;

/// How everything is now, as a JSON object: `{"state":{…}}`.
std::string StateOf(const Stage& stage);

} // namespace set
