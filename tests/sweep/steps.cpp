#include "steps.h"

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

bool contains_in_order(std::string_view text, const std::string& words) {
    std::istringstream stream(words);
    std::size_t at = 0;
    for (std::string word; stream >> word; at += word.size()) {
        at = find_word(text, word, at);
        if (at == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool fits(const Step& step, const std::string& text, const Fault& fault) {
    const std::string function = step.call.words.substr(0, step.call.words.find(' '));
    const bool of_success = step.call.words.find("succeeds") != std::string::npos;
    return text.substr(0, text.find(' ')) == function &&
           of_success == (fault.meaning == Fault::Meaning::informational) &&
           contains_in_order(text + " " + fault.description, step.call.words);
}

// Of an answer as the recorder writes it: `0x0 WSTR "dg1"`, `0x0 "Name" WSTR "dg1"`.
std::string type_in(const std::string& answer) {
    std::istringstream stream(answer);
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

Steps each_failure_logs(const Lines& errors, Steps steps) {
    return framed({}, {}, errors, std::move(steps));
}

Steps framed(const Lines& before, const Lines& success, const Lines& failure, Steps steps) {
    for (Step& step : steps) {
        Lines& errors = step.outcome.errors;
        const Lines& behind = step.outcome.kind == Outcome::Kind::continues ? success : failure;
        errors.insert(errors.begin(), before.begin(), before.end());
        errors.insert(errors.end(), behind.begin(), behind.end());
    }
    return steps;
}

std::vector<CleanCalls::Text> CleanCalls::calls_of(const std::vector<std::string>& recorded,
                                                   const std::string& function) {
    static const std::string arrow = " -> ";
    std::vector<Text> texts;
    for (const std::string& line : recorded) {
        if (line.substr(0, line.find(' ')) == function) {
            const std::size_t end = line.find(arrow);
            texts.push_back({line.substr(0, end), type_in(line.substr(end + arrow.size()))});
        }
    }
    return texts;
}

CleanCalls::CleanCalls(const std::vector<std::string>& recorded,
                       const std::vector<unsigned>& counts) {
    for (std::size_t import = 0; import < counts.size(); ++import) {
        const std::string function = failing_imports()[import].name;
        std::vector<Text> texts = calls_of(recorded, function);
        // The recorder does not see what goes to the system.
        if (texts.empty()) {
            texts.resize(counts[import], {function, ""});
        }
        if (texts.size() != counts[import]) {
            throw std::logic_error("the recorder saw other calls of " + function +
                                   " than were made");
        }
        m_texts.push_back(std::move(texts));
    }
}

const std::string& CleanCalls::call_text(const Call& call) const {
    return m_texts[call.import][call.number - 1].call;
}

const std::string& CleanCalls::property_type(const Call& call) const {
    return m_texts[call.import][call.number - 1].type;
}

const Outcome* CleanCalls::outcome(const Steps& steps, const Call& call, const Fault& fault) const {
    const std::vector<Text>& texts = m_texts[call.import];
    for (const Step& step : steps) {
        if (!fits(step, call_text(call), fault)) {
            continue;
        }
        const auto number =
            std::count_if(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(call.number),
                          [&](const Text& text) { return fits(step, text.call, fault); });
        if (step.number == 0 || step.number == static_cast<unsigned>(number)) {
            return &step.outcome;
        }
    }
    return fault.meaning == Fault::Meaning::informational ? &no_effect : nullptr;
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
