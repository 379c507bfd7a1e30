#include "tv/front/Object.h"

#include <glib-object.h>
#include <glib.h>

#include <cstddef>

namespace front {

namespace {

struct NodeUnref
{
    void operator()(JsonNode* node) const
    {
        json_node_unref(node);
    }
};

/// Whether lists and objects are in one another so deep that reading them would use up the stack.
bool IsTooDeep(std::string_view text)
{
    constexpr int kDeepest = 64;
    int depth = 0;
    bool isQuoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char character = text[at];
        if (isQuoted && character == '\\') {
            ++at;
        } else if (character == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && (character == '[' || character == '{') && ++depth > kDeepest) {
            return true;
        } else if (!isQuoted && (character == ']' || character == '}')) {
            --depth;
        }
    }
    return false;
}

} // namespace

Object::Object(JsonObject* object)
    : m_object(object != nullptr ? json_object_ref(object) : nullptr, [](JsonObject* held) {
          if (held != nullptr) {
              json_object_unref(held);
          }
      })
{}

Object Object::Parse(std::string_view text)
{
    const std::string ended(text);
    if (ended.find('\0') != std::string::npos || IsTooDeep(ended)) {
        return Object(nullptr);
    }
    const std::unique_ptr<JsonNode, NodeUnref> root(json_from_string(ended.c_str(), nullptr));
    const bool isObject = root && JSON_NODE_HOLDS_OBJECT(root.get());
    return Object(isObject ? json_node_get_object(root.get()) : nullptr);
}

std::vector<std::string> Object::Names() const
{
    std::vector<std::string> names;
    if (!m_object) {
        return names;
    }
    JsonObjectIter member;
    json_object_iter_init_ordered(&member, m_object.get());
    const char* name = nullptr;
    JsonNode* value = nullptr;
    while (json_object_iter_next_ordered(&member, &name, &value) != FALSE) {
        names.emplace_back(name);
    }
    return names;
}

JsonNode* Object::Node(const char* name) const
{
    return m_object ? json_object_get_member(m_object.get(), name) : nullptr;
}

bool Object::Has(const char* name) const
{
    return Node(name) != nullptr;
}

std::string Object::Text(const char* name) const
{
    JsonNode* node = Node(name);
    const bool isText =
        node != nullptr && JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_STRING;
    return isText ? json_node_get_string(node) : "";
}

std::int64_t Object::Number(const char* name) const
{
    JsonNode* node = Node(name);
    const bool isNumber =
        node != nullptr && JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_INT64;
    return isNumber ? json_node_get_int(node) : 0;
}

bool Object::Truth(const char* name) const
{
    JsonNode* node = Node(name);
    return node != nullptr && JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_BOOLEAN &&
           json_node_get_boolean(node) != FALSE;
}

Object Object::Member(const char* name) const
{
    JsonNode* node = Node(name);
    return Object(node != nullptr && JSON_NODE_HOLDS_OBJECT(node) ? json_node_get_object(node) : nullptr);
}

std::vector<Object> Object::Members(const char* name) const
{
    std::vector<Object> members;
    JsonNode* node = Node(name);
    if (node == nullptr || !JSON_NODE_HOLDS_ARRAY(node)) {
        return members;
    }
    JsonArray* array = json_node_get_array(node);
    for (guint index = 0; index < json_array_get_length(array); ++index) {
        JsonNode* element = json_array_get_element(array, index);
        if (JSON_NODE_HOLDS_OBJECT(element)) {
            members.push_back(Object(json_node_get_object(element)));
        }
    }
    return members;
}

std::vector<std::string> Object::Texts(const char* name) const
{
    std::vector<std::string> texts;
    JsonNode* node = Node(name);
    if (node == nullptr || !JSON_NODE_HOLDS_ARRAY(node)) {
        return texts;
    }
    JsonArray* array = json_node_get_array(node);
    for (guint index = 0; index < json_array_get_length(array); ++index) {
        const char* text = json_array_get_string_element(array, index);
        texts.emplace_back(text != nullptr ? text : "");
    }
    return texts;
}

std::string Object::Json(const char* name) const
{
    JsonNode* node = Node(name);
    if (node == nullptr) {
        return "";
    }
    const std::unique_ptr<char, decltype(&g_free)> text(json_to_string(node, FALSE), g_free);
    return text.get();
}

} // namespace front
