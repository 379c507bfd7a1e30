#pragma once

#include <exception>
#include <string>

/// For a handler of any exception: the text of the one that is being handled, a standard exception or a text that was
/// thrown as such. An exception of any other type is thrown on, out of this function.
inline std::string TextOfException()
{
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (const std::string& text) {
        return text;
    } catch (const char* text) {
        return text != nullptr ? text : "";
    }
}
