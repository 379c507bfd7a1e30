#pragma once

#include <exception>
#include <string>

/// The text of the exception that is being handled: a standard one, or a text that was thrown as such. Any other goes
/// on to the caller's caller.
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
