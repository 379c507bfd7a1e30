#include "tv/language/Words.h"

#include "tv/language/Misunderstood.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <system_error>

namespace language {

namespace {

bool IsBlank(char character)
{
    return character == ' ' || character == '\t';
}

/// Reads one word after the other.
class Splitter
{
public:
    explicit Splitter(std::string_view line) : m_line(line) {}

    std::vector<Word> Split()
    {
        std::vector<Word> words;
        while (SkipBlanks()) {
            words.push_back(NextWord());
        }
        return words;
    }

private:
    bool SkipBlanks()
    {
        while (m_at < m_line.size() && IsBlank(m_line[m_at])) {
            ++m_at;
        }
        return m_at < m_line.size();
    }

    Word NextWord()
    {
        Word word = {{}, false, m_at};
        while (m_at < m_line.size() && !IsBlank(m_line[m_at])) {
            if (m_line[m_at] == '"') {
                word.quoted = true;
                ++m_at;
                TakeQuoted(word.text);
            } else {
                word.text += m_line[m_at++];
            }
        }
        return word;
    }

    void TakeQuoted(std::string& text)
    {
        while (m_at < m_line.size() && m_line[m_at] != '"') {
            if (m_line[m_at] == '\\') {
                ++m_at;
                text += Escaped();
            } else {
                text += m_line[m_at++];
            }
        }
        if (m_at == m_line.size()) {
            throw Misunderstood(R"(a quote is not closed: write " at its end, and \" for a quote within)");
        }
        ++m_at;
    }

    /// Stands behind the backslash.
    char Escaped()
    {
        const char character = m_at < m_line.size() ? m_line[m_at++] : '\0';
        switch (character) {
        case '"':
        case '\\':
            return character;
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case 'x':
            return Byte();
        default:
            throw Misunderstood("there is no such escape in quotes: write \\\\ for a backslash; "
                                "\\\", \\n, \\t and \\xHH are the others");
        }
    }

    char Byte()
    {
        unsigned char byte = 0;
        const std::string_view digits = m_line.substr(m_at, 2);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + digits.size()) {
            throw Misunderstood("\\x takes two hexadecimal digits, such as \\x1f");
        }
        m_at += 2;
        return static_cast<char>(byte);
    }

    std::string_view m_line;
    std::size_t m_at = 0;
};

} // namespace

std::vector<Word> WordsOf(std::string_view line)
{
    return Splitter(line).Split();
}

bool IsRemark(std::string_view line)
{
    const std::size_t begin = line.find_first_not_of(" \t\r");
    return begin == std::string_view::npos || line[begin] == '#';
}

std::string AsQuoted(std::string_view text)
{
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (character == '\n') {
            quoted += "\\n";
        } else if (character == '\t') {
            quoted += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            std::array<char, 8> escape = {};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", unsigned{byte});
            quoted += escape.data();
        } else {
            quoted += character;
        }
    }
    return quoted + "\"";
}

std::string AsWord(std::string_view text)
{
    const auto isPlain = [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte > 0x20 && byte != 0x7F && character != '"' && character != '\\';
    };
    const bool isWord = !text.empty() && text.front() != '#' && std::all_of(text.begin(), text.end(), isPlain);
    return isWord ? std::string(text) : AsQuoted(text);
}

} // namespace language
