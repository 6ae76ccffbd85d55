#include "sweep/steps.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace sweep {
namespace {

bool is_word_character(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_' ||
           character == '-';
}

// Whether a word may end, or another one begin, between the two characters.
bool is_word_edge(char left, char right) {
    return !is_word_character(left) || !is_word_character(right);
}

// Finds the whole word: "@v1" is not in "@v1-01", nor "0.2" in "0.2003".
std::size_t find_word(std::string_view text, const std::string& word, std::size_t start) {
    for (std::size_t at = text.find(word, start); at != std::string_view::npos;
         at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || is_word_edge(text[at - 1], word.front())) &&
            (end == text.size() || is_word_edge(word.back(), text[end]))) {
            return at;
        }
    }
    return std::string_view::npos;
}

bool contains_in_order(std::string_view string, const std::string& words) {
    std::istringstream stream(words);
    std::size_t at = 0;
    for (std::string word; stream >> word; at += word.size()) {
        at = find_word(string, word, at);
        if (at == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool matches(const CallPattern& pattern, const std::string& call, const Fault& fault) {
    const std::string& words = pattern.words;
    const std::string function = words.substr(0, words.find(' '));
    const bool of_success = words.find("succeeds") != std::string::npos;
    return call.substr(0, call.find(' ')) == function &&
           of_success == (fault.meaning == Fault::Meaning::informational) &&
           contains_in_order(call + " " + fault.description, words);
}

// What a pattern says about a call: the number of its words, and whether it has a number.
std::pair<std::ptrdiff_t, bool> specificity(const CallPattern& pattern) {
    return {std::count(pattern.words.begin(), pattern.words.end(), ' '), pattern.number != 0};
}

// The type in a result as the recorder writes it: `0x0 WSTR "dg1"`, `0x0 "Name" WSTR "dg1"`.
std::string type_in(const std::string& result) {
    std::istringstream stream(result);
    std::string status;
    std::string type;
    stream >> status >> std::ws;
    if (stream.peek() == '"') {
        std::string name;
        stream >> std::quoted(name);
    }
    stream >> type;
    const bool is_type = !type.empty() && std::isupper(static_cast<unsigned char>(type[0])) != 0;
    return is_type ? type : "";
}

}  // namespace

Steps with_lines(const SurroundingLines& surrounding, Steps steps) {
    for (Step& step : steps) {
        Lines& lines = step.outcome.lines;
        const Lines& after = step.outcome.kind == Outcome::Kind::continues
                                 ? surrounding.after_success
                                 : surrounding.after_failure;
        lines.insert(lines.begin(), surrounding.before.begin(), surrounding.before.end());
        lines.insert(lines.end(), after.begin(), after.end());
    }
    return steps;
}

Steps each_failure_logs(const Lines& lines, Steps steps) {
    return with_lines({.after_failure = lines}, std::move(steps));
}

std::vector<CleanCalls::CleanCall> CleanCalls::calls_of(const std::vector<std::string>& recorded,
                                                        const std::string& function) {
    static const std::string arrow = " -> ";
    std::vector<CleanCall> calls;
    for (const std::string& line : recorded) {
        if (line.substr(0, line.find(' ')) == function) {
            const std::size_t end = line.find(arrow);
            calls.push_back({line.substr(0, end), type_in(line.substr(end + arrow.size()))});
        }
    }
    return calls;
}

CleanCalls::CleanCalls(const std::vector<std::string>& recorded,
                       const std::vector<unsigned>& counts) {
    for (std::size_t import = 0; import < counts.size(); ++import) {
        const std::string function = failing_imports()[import].name;
        std::vector<CleanCall> calls = calls_of(recorded, function);
        // The recorder does not see calls to the system.
        if (calls.empty()) {
            calls.resize(counts[import], {function, ""});
        }
        if (calls.size() != counts[import]) {
            throw std::logic_error("the recorder saw other calls of " + function +
                                   " than were made");
        }
        m_calls.push_back(std::move(calls));
    }
}

const std::string& CleanCalls::description(const Call& call) const {
    return m_calls[call.import][call.number - 1].description;
}

const std::string& CleanCalls::property_type(const Call& call) const {
    return m_calls[call.import][call.number - 1].property_type;
}

bool CleanCalls::covers(const Step& step, const Call& call, const Fault& fault) const {
    if (!matches(step.call, description(call), fault)) {
        return false;
    }
    const std::vector<CleanCall>& calls = m_calls[call.import];
    const auto number = std::count_if(
        calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(call.number),
        [&](const CleanCall& one) { return matches(step.call, one.description, fault); });
    return step.call.number == 0 || step.call.number == static_cast<unsigned>(number);
}

const Step* CleanCalls::find_step(const Steps& steps, const Call& call, const Fault& fault) const {
    const Step* found = nullptr;
    for (const Step& step : steps) {
        if (!covers(step, call, fault)) {
            continue;
        }
        if (found == nullptr || specificity(step.call) > specificity(found->call)) {
            found = &step;
        } else if (specificity(step.call) == specificity(found->call) &&
                   step.outcome != found->outcome) {
            throw std::logic_error("two steps with different outcomes cover " + description(call) +
                                   ", which " + fault.description);
        }
    }
    return found;
}

Steps steps_of(const Situation& situation) {
    static const std::vector<ExportSteps> table = [] {
        std::vector<ExportSteps> all;
        for (const auto& part :
             {cluster_steps(), diskgroup_steps(), folder_steps(), health_steps(), identity_steps(),
              records_steps(), reservation_steps(), volume_steps(), volume_identity_steps()}) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }();
    Steps found;
    for (const std::string& name : {std::string(situation.name), std::string()}) {
        for (const ExportSteps& one : table) {
            const bool of_export = std::find(one.exports.begin(), one.exports.end(),
                                             situation.export_name) != one.exports.end();
            if (of_export && one.situation == name) {
                found.insert(found.end(), one.steps.begin(), one.steps.end());
            }
        }
    }
    return found;
}

}  // namespace sweep
