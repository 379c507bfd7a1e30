#pragma once

#include <json-glib/json-glib.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace front {

/// A JSON object that was read. A member that is missing or of another type is empty, 0 or false.
class Object
{
public:
    /// \return nothing, which has no members, where the text is no object or one that is too deep to be read
    static Object Parse(std::string_view text);

    [[nodiscard]] explicit operator bool() const
    {
        return m_object != nullptr;
    }
    /// Of all members, in the order of the text.
    [[nodiscard]] std::vector<std::string> Names() const;
    [[nodiscard]] bool Has(const char* name) const;
    [[nodiscard]] std::string Text(const char* name) const;
    [[nodiscard]] std::int64_t Number(const char* name) const;
    [[nodiscard]] bool Truth(const char* name) const;
    [[nodiscard]] Object Member(const char* name) const;
    /// The elements of an array that are objects; those that are texts.
    [[nodiscard]] std::vector<Object> Members(const char* name) const;
    [[nodiscard]] std::vector<std::string> Texts(const char* name) const;
    /// A member of any type as JSON; empty when it is missing.
    [[nodiscard]] std::string Json(const char* name) const;

private:
    explicit Object(JsonObject* object);
    [[nodiscard]] JsonNode* Node(const char* name) const;

    std::shared_ptr<JsonObject> m_object; ///< null for none
};

} // namespace front
