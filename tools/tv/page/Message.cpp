#include "tv/page/Message.h"

#include "GlibPointers.h"
#include "tv/front/Feed.h"

#include <glib-object.h>
#include <glib.h>

#include <json-glib/json-glib.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace page {

namespace {

constexpr const char* kNotALine =
    "This is no message of a page: it has to be one JSON object, {\"line\":\"…\"}, with a command line such as "
    "\"remote connect\".";

/// The parser descends into what is nested, as deep as it goes; a message has one object and nothing inside it.
bool IsFlat(std::string_view text)
{
    bool inString = false;
    int opened = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (inString && text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            inString = !inString;
        } else if (!inString && (text[at] == '{' || text[at] == '[')) {
            ++opened;
        }
    }
    return opened == 1;
}

const char* LineOf(JsonParser* parser)
{
    JsonNode* root = json_parser_get_root(parser);
    if (root == nullptr || !JSON_NODE_HOLDS_OBJECT(root)) {
        return nullptr;
    }
    JsonObject* object = json_node_get_object(root);
    JsonNode* line = json_object_get_member(object, "line");
    if (json_object_get_size(object) != 1 || line == nullptr || json_node_get_value_type(line) != G_TYPE_STRING) {
        return nullptr;
    }
    return json_node_get_string(line);
}

bool HasControls(std::string_view line)
{
    return std::ranges::any_of(line, [](unsigned char byte) { return (byte < 0x20 && byte != '\t') || byte == 0x7f; });
}

} // namespace

Message ReadMessage(std::string_view text)
{
    if (text.size() > kLongestMessage) {
        return {.error = "This message is too long. A command line has at most " +
                         std::to_string(front::Feed::kLongestLine) + " bytes."};
    }
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) == FALSE) {
        return {.error = "This message is no UTF-8 text, or has a zero byte in it; nothing was done."};
    }
    if (!IsFlat(text)) {
        return {.error = kNotALine};
    }
    const std::unique_ptr<JsonParser, Util::ReleaseWith<g_object_unref>> parser(json_parser_new_immutable());
    const bool isJson =
        json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
    const char* line = isJson ? LineOf(parser.get()) : nullptr;
    if (line == nullptr) {
        return {.error = kNotALine};
    }
    const std::string_view found = line;
    if (found.size() > front::Feed::kLongestLine) {
        return {.error = "This command line has " + std::to_string(found.size()) + " bytes; at most " +
                         std::to_string(front::Feed::kLongestLine) + " are taken."};
    }
    if (HasControls(found)) {
        return {.error = "A command line is one line, without control characters. Send several lines one by one."};
    }
    return {.line = line};
}

std::string ErrorObject(const std::string& error)
{
    const std::unique_ptr<JsonNode, Util::ReleaseWith<json_node_unref>> text(json_node_new(JSON_NODE_VALUE));
    json_node_set_string(text.get(), error.c_str());
    const Util::GlibString quoted(json_to_string(text.get(), FALSE));
    return std::string(R"({"error":)") + quoted.get() + "}";
}

} // namespace page
