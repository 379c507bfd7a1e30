#include "tv/language/Line.h"

#include "tv/language/Misunderstood.h"
#include "tv/language/Nearest.h"
#include "tv/language/Numbers.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <span>
#include <utility>

namespace language {

namespace {

constexpr std::size_t kShown = 60; // bytes of a word in a message

/// A word of a syntax.
struct Place
{
    std::vector<std::string> words; ///< one of them stands here; empty for an argument
    std::string argument;           ///< its name
    bool optional = false;
    bool takesRest = false;
};

std::vector<std::string> Alternatives(std::string_view text)
{
    std::vector<std::string> words;
    while (true) {
        const std::size_t bar = text.find('|');
        words.emplace_back(text.substr(0, bar));
        if (bar == std::string_view::npos) {
            return words;
        }
        text.remove_prefix(bar + 1);
    }
}

Place PlaceOf(std::string_view token)
{
    Place place;
    if (token.front() == '[') {
        place.optional = true;
        token = token.substr(1, token.size() - 2);
    }
    if (token.front() < 'A' || token.front() > 'Z') {
        place.words = Alternatives(token);
        return place;
    }
    if (token.ends_with("...")) {
        place.takesRest = true;
        token.remove_suffix(3);
    }
    place.argument = token;
    return place;
}

struct Grammar
{
    const Command* command;
    std::vector<Place> places;
};

/// The table, read once.
const std::vector<Grammar>& Grammars()
{
    static const std::vector<Grammar> grammars = [] {
        std::vector<Grammar> all;
        for (const Command& command : Commands()) {
            Grammar grammar = {&command, {}};
            for (const Word& token : WordsOf(command.syntax)) {
                grammar.places.push_back(PlaceOf(token.text));
            }
            all.push_back(std::move(grammar));
        }
        return all;
    }();
    return grammars;
}

bool Fits(const Place& place, const Word& word)
{
    return place.words.empty() || (!word.quoted && std::ranges::find(place.words, word.text) != place.words.end());
}

/// How many words fit, until the first that does not.
std::size_t Fitting(const Grammar& grammar, const std::vector<Word>& words)
{
    std::size_t count = 0;
    while (count < words.size() && count < grammar.places.size() && Fits(grammar.places[count], words[count])) {
        ++count;
    }
    return count;
}

/// The lines for which most of the words fit.
std::vector<const Grammar*> Nearest(const std::vector<Word>& words, std::size_t& fitting)
{
    std::vector<const Grammar*> nearest;
    fitting = 0;
    for (const Grammar& grammar : Grammars()) {
        const std::size_t count = Fitting(grammar, words);
        if (count > fitting) {
            nearest.clear();
            fitting = count;
        }
        if (count == fitting) {
            nearest.push_back(&grammar);
        }
    }
    return nearest;
}

std::string Shown(std::string_view text)
{
    return AsQuoted(text.size() > kShown ? std::string(text.substr(0, kShown)) + "..." : text);
}

std::string Join(const std::vector<std::string>& words, const char* between)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

/// The words that may stand behind so many that fit, in the order of the table.
std::vector<std::string> NextWords(const std::vector<const Grammar*>& grammars, std::size_t at)
{
    std::vector<std::string> next;
    for (const Grammar* grammar : grammars) {
        if (at < grammar->places.size()) {
            for (const std::string& word : grammar->places[at].words) {
                if (std::ranges::find(next, word) == next.end()) {
                    next.push_back(word);
                }
            }
        }
    }
    return next;
}

[[noreturn]] void RefuseWord(const std::vector<const Grammar*>& nearest, const std::vector<Word>& words,
                             std::size_t fitting)
{
    const std::vector<std::string> next = NextWords(nearest, fitting);
    const std::string& word = words[fitting].text;
    if (next.empty()) {
        throw Misunderstood(Shown(word) + " is too much: " + std::string(nearest.front()->command->syntax));
    }
    const std::string suggestion = Suggestion(word, next);
    const std::string where = fitting == 0 ? "nobody understands " + Shown(word)
                                           : Shown(word) + " cannot stand behind \"" + words[fitting - 1].text + "\"";
    if (!suggestion.empty()) {
        throw Misunderstood(where + suggestion);
    }
    throw Misunderstood(where + (fitting == 0 ? "; \"help\" tells all lines" : "; there can be: " + Join(next, ", ")));
}

[[noreturn]] void AskForMore(const std::vector<const Grammar*>& nearest)
{
    std::vector<std::string> syntaxes;
    syntaxes.reserve(nearest.size());
    for (const Grammar* grammar : nearest) {
        syntaxes.emplace_back(grammar->command->syntax);
    }
    throw Misunderstood("there is something missing: " + Join(syntaxes, ", or "));
}

void CheckArgument(const std::string& name, const Word& word)
{
    const Kind& kind = KindOf(name);
    if (kind.accepts(word.text)) {
        return;
    }
    std::vector<std::string> choices = kind.choices != nullptr ? kind.choices() : std::vector<std::string>();
    if (kind.name == "DURATION" && kind.accepts(word.text + "s")) {
        choices = {word.text + "s"}; // only the unit is missing
    }
    throw Misunderstood(Shown(word.text) + " is not " + std::string(kind.means) + SuggestionOrAll(word.text, choices));
}

bool IsComplete(const Grammar& grammar, std::size_t words)
{
    return words >= grammar.places.size() || grammar.places[words].optional;
}

Line Understood(const Grammar& grammar, std::string_view text, const std::vector<Word>& words)
{
    Line line = {.command = grammar.command, .text = std::string(text), .literals = {}, .arguments = {}};
    for (std::size_t at = 0; at < grammar.places.size() && at < words.size(); ++at) {
        const Place& place = grammar.places[at];
        if (!place.words.empty()) {
            line.literals.push_back(words[at].text);
            continue;
        }
        CheckArgument(place.argument, words[at]);
        line.arguments.emplace(place.argument, words[at]);
    }
    return line;
}

std::string_view Trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

/// The words of a line that may end in free text: quotes in that mean nothing here.
std::vector<Word> WordsBeforeRest(std::string_view text)
{
    std::vector<Word> words;
    std::size_t end = 0;
    while (true) {
        const std::size_t begin = text.find_first_not_of(" \t", end);
        if (begin == std::string_view::npos) {
            return words;
        }
        end = std::min(text.find_first_of(" \t", begin), text.size());
        words.push_back({std::string(text.substr(begin, end - begin)), false, begin});
    }
}

const Grammar* OneThatTakesRest(std::string_view text)
{
    const std::vector<Word> words = WordsBeforeRest(text);
    std::size_t fitting = 0;
    for (const Grammar* grammar : Nearest(words, fitting)) {
        if (grammar->places.back().takesRest && fitting == std::min(words.size(), grammar->places.size()) &&
            words.size() >= grammar->places.size()) {
            return grammar;
        }
    }
    return nullptr;
}

/// \param begin of the rest, in the line
Word Rest(std::string_view rest, std::size_t begin)
{
    if (rest.front() == '"') {
        try {
            const std::vector<Word> quoted = WordsOf(rest);
            if (quoted.size() == 1) {
                return {quoted.front().text, true, begin};
            }
        } catch (const Misunderstood&) { // then it is a text that begins with a quote
        }
    }
    return {std::string(rest), false, begin};
}

/// The words of a line; what is taken as a rest is one word that nothing was done to, unless it is in quotes as a
/// whole.
std::vector<Word> WordsFor(std::string_view text)
{
    const Grammar* grammar = OneThatTakesRest(text);
    if (grammar == nullptr) {
        return WordsOf(text);
    }
    std::vector<Word> words = WordsBeforeRest(text);
    const std::size_t last = grammar->places.size() - 1;
    const std::size_t begin = words[last].begin;
    words.resize(last);
    words.push_back(Rest(text.substr(begin), begin));
    return words;
}

} // namespace

std::string Line::Text(std::string_view name) const
{
    const auto found = arguments.find(name);
    return found != arguments.end() ? found->second.text : "";
}

int Line::Number(std::string_view name, int otherwise) const
{
    const auto found = arguments.find(name);
    return found != arguments.end() ? NumberIn(found->second.text).value_or(otherwise) : otherwise;
}

Line Parse(std::string_view text)
{
    const std::string_view line = Trimmed(text);
    const std::vector<Word> words = WordsFor(line);
    if (words.empty()) {
        throw Misunderstood("there is nothing in the line; \"help\" tells all lines");
    }
    std::size_t fitting = 0;
    const std::vector<const Grammar*> nearest = Nearest(words, fitting);
    if (fitting < words.size()) {
        RefuseWord(nearest, words, fitting);
    }
    for (const Grammar* grammar : nearest) {
        if (IsComplete(*grammar, words.size())) {
            return Understood(*grammar, line, words);
        }
    }
    AskForMore(nearest);
}

std::vector<std::string> Completions(std::string_view text)
{
    std::vector<Word> words;
    try {
        words = WordsOf(text);
    } catch (const Misunderstood&) {
        return {}; // within quotes nobody knows what is meant
    }
    const bool begun = !text.empty() && text.back() != ' ' && text.back() != '\t' && !words.empty();
    const std::string start = begun ? words.back().text : "";
    if (begun) {
        words.pop_back();
    }
    std::vector<std::string> found;
    for (const Grammar& grammar : Grammars()) {
        if (Fitting(grammar, words) != words.size() || grammar.places.size() <= words.size()) {
            continue;
        }
        const Place& place = grammar.places[words.size()];
        std::vector<std::string> choices = place.words;
        if (choices.empty() && KindOf(place.argument).choices != nullptr) {
            choices = KindOf(place.argument).choices();
        }
        std::ranges::copy_if(choices, std::back_inserter(found),
                             [&](const std::string& choice) { return choice.starts_with(start); });
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<const Command*> About(std::string_view word)
{
    std::vector<const Command*> first;
    std::vector<const Command*> any;
    for (const Grammar& grammar : Grammars()) {
        const auto stands = [&](const Place& place) {
            return std::ranges::find(place.words, word) != place.words.end();
        };
        if (word.empty() || stands(grammar.places.front())) {
            first.push_back(grammar.command);
        }
        if (std::ranges::any_of(grammar.places, stands)) {
            any.push_back(grammar.command);
        }
    }
    return first.empty() ? any : first;
}

} // namespace language
