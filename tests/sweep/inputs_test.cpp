// Wrong and unusual arguments: NULL pointers, strings of every length and outside the code page,
// sizes, unaligned buffers, and random calls.
#include "sweep/sweep.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace {

using namespace sweep;
using Kind = Argument::Kind;

bool is_string(const Argument& argument) {
    return argument.kind == Kind::narrow || argument.kind == Kind::wide;
}

bool is_written(const Argument& argument) {
    return argument.kind == Kind::output || argument.kind == Kind::name_list ||
           argument.kind == Kind::in_out;
}

bool is_pointer(const Argument& argument) {
    return argument.kind != Kind::null && argument.kind != Kind::number &&
           argument.kind != Kind::own_handle;
}

// Makes the outputs large enough for everything that a call in this scenario writes.
void make_roomy(std::vector<Argument>& arguments) {
    constexpr std::size_t roomy = 32'768;
    for (Argument& argument : arguments) {
        if (argument.kind == Kind::output || argument.kind == Kind::name_list) {
            argument.size = std::max(argument.size, roomy);
        }
    }
}

class InputSweep : public Sweep {
  protected:
    void call_with(const std::string& what, const std::vector<Argument>& arguments,
                   Expectation expectation = {}) {
        count_fault_point();
        announce(what);
        expectation.changed_arguments = true;
        check(what, perform(arguments), expectation);
    }

    const std::vector<Argument>& arguments() const { return GetParam().arguments; }

    // The arguments with another one in that place.
    std::vector<Argument> with(std::size_t place, const Argument& other) const {
        std::vector<Argument> changed = arguments();
        changed[place] = other;
        return changed;
    }
};

std::string numbered(std::size_t place) {
    return "argument " + std::to_string(place + 1);
}

TEST_P(InputSweep, HandlesNullPointers) {
    in_situation(GetParam(), 0, [&] {
        for (std::size_t one = 0; one < arguments().size(); ++one) {
            if (!is_pointer(arguments()[one])) {
                continue;
            }
            std::vector<Argument> changed = with(one, Argument{});
            const bool is_handle = arguments()[one].kind == Kind::handle;
            call_with(numbered(one) + " is NULL", changed,
                      {.status = is_handle ? Allowed::null_handle : Allowed::described});
            for (std::size_t other = one + 1; other < arguments().size(); ++other) {
                if (is_pointer(arguments()[other])) {
                    std::vector<Argument> both = changed;
                    both[other] = Argument{};
                    call_with(numbered(one) + " and " + numbered(other) + " are NULL", both);
                }
            }
        }
    });
}

TEST_P(InputSweep, HandlesStringsOfEveryLength) {
    in_situation(GetParam(), 0, [&] {
        for (std::size_t place = 0; place < arguments().size(); ++place) {
            if (!is_string(arguments()[place])) {
                continue;
            }
            const std::size_t limit = arguments()[place].limit;
            std::vector<std::size_t> lengths = {0, 1, 31, 32, 64, 65, 259, 260, 261, 100'000};
            if (limit != 0) {
                lengths.insert(lengths.end(), {limit - 1, limit, limit + 1});
            }
            for (const std::size_t length : lengths) {
                Argument changed = arguments()[place];
                changed.string.assign(length, 'x');
                const bool is_too_long = limit != 0 && length > limit;
                call_with(numbered(place) + " has " + std::to_string(length) + " characters",
                          with(place, changed),
                          {.status = is_too_long ? Allowed::refusal : Allowed::described,
                           .string_refused = is_too_long && changed.refused_beyond_limit});
            }
        }
    });
}

TEST_P(InputSweep, HandlesStringsOutsideTheCodePage) {
    in_situation(GetParam(), 0, [&] {
        for (std::size_t place = 0; place < arguments().size(); ++place) {
            if (!is_string(arguments()[place])) {
                continue;
            }
            for (const char* bytes : {"\x81\x8d\x8f", "\xff\xfe", "\xed\xa0\x80", "\xc3", "%s%n%d",
                                      "\"", "\\", "\n", " "}) {
                Argument changed = arguments()[place];
                changed.string = bytes;
                call_with(numbered(place) + " holds odd bytes", with(place, changed));
            }
        }
    });
}

// The library's records are packed, so callers may store them at any address.
TEST_P(InputSweep, FillsUnalignedBuffers) {
    in_situation(GetParam(), 0, [&] {
        for (std::size_t place = 0; place < arguments().size(); ++place) {
            if (!is_written(arguments()[place])) {
                continue;
            }
            for (const std::size_t misaligned_by : {1U, 2U, 3U, 7U}) {
                Argument buffer = arguments()[place];
                buffer.misaligned_by = misaligned_by;
                count_fault_point();
                const std::string what = numbered(place) + " is not aligned";
                announce(what);
                check(what, perform(with(place, buffer)), {.status = Allowed::clean});
            }
        }
    });
}

TEST_P(InputSweep, HandlesEverySize) {
    in_situation(GetParam(), 0, [&] {
        for (std::size_t place = 0; place < arguments().size(); ++place) {
            if (arguments()[place].kind != Kind::in_out) {
                continue;
            }
            const auto exact = static_cast<std::uint32_t>(arguments()[place].number);
            for (const std::uint32_t size : {0U, 1U, exact - 1, exact, exact + 1, 0xFFFFFFFFU}) {
                std::vector<Argument> changed = arguments();
                changed[place].number = size;
                const bool fills = GetParam().clean_status == FARLO_SUCCESS;
                if (!fills) {
                    make_roomy(changed);
                }
                call_with(numbered(place) + " is " + std::to_string(size), changed,
                          {.status = fills && size < exact ? Allowed::buffer_too_small
                                                           : Allowed::described});
            }
        }
    });
}

class RandomCalls {
  public:
    explicit RandomCalls(std::uint32_t seed) : m_engine(seed) {}

    std::vector<Argument> change(std::vector<Argument> arguments) {
        for (unsigned changes = below(3) + 1; changes > 0 && !arguments.empty(); --changes) {
            change(arguments[below(static_cast<std::uint32_t>(arguments.size()))]);
        }
        make_roomy(arguments);
        return arguments;
    }

  private:
    std::uint32_t below(std::uint32_t limit) {
        return std::uniform_int_distribution<std::uint32_t>(0, limit - 1)(m_engine);
    }

    void change(Argument& argument) {
        switch (argument.kind) {
        case Kind::narrow:
        case Kind::wide:
            if (below(8) == 0) {
                argument = Argument{};
            } else {
                argument.string = changed_string(argument.string);
            }
            break;
        case Kind::number:
            argument.number = below(2) == 0 ? 1ULL << below(32) : m_engine();
            break;
        case Kind::in_out:
            argument.number = below(2) == 0 ? below(8192) : m_engine();
            argument.misaligned_by = below(8);
            break;
        case Kind::output:
        case Kind::name_list:
            if (below(16) == 0) {
                argument = Argument{};
            } else {
                argument.misaligned_by = below(8);
            }
            break;
        case Kind::bytes:
        case Kind::empty_slot:
        case Kind::callback:
        case Kind::handle:
            if (below(16) == 0) {
                argument = Argument{};
            }
            break;
        case Kind::disconnected_slot:
        case Kind::own_handle:
        case Kind::folder:
        case Kind::null:
            break;
        }
    }

    std::string changed_string(const std::string& original) {
        // Names in the scenario, and strings that are not.
        static const char* const known[] = {"dgc",          "dgo",    "dgl",     "dgs",
                                            "dgn",          "late",   "guid-c",  "guid-o",
                                            "guid-s",       "guid-n", "vguid-1", "d1",
                                            "\\Device\\v1", "F:",     "F",       "\\Device\\s-off",
                                            "vn-s-on",      "1a2b-3c"};
        if (below(2) == 0) {
            return known[below(std::size(known))];
        }
        std::string changed = below(2) == 0 ? original : std::string(below(300), 'y');
        for (char& character : changed) {
            if (below(4) == 0) {
                character = static_cast<char>(below(255) + 1);
            }
            // In the log it would look like the end of a line.
            if (character == '\r') {
                character = '\n';
            }
        }
        return changed;
    }

    std::mt19937 m_engine;
};

// FARLO_SWEEP_SEED repeats a run.
std::uint32_t wanted_seed() {
    const char* text = std::getenv("FARLO_SWEEP_SEED");
    const std::uint32_t seed = text != nullptr
                                   ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 0))
                                   : std::random_device{}();
    std::printf("random calls: FARLO_SWEEP_SEED=%u\n", static_cast<unsigned>(seed));
    return seed;
}

TEST_P(InputSweep, HandlesRandomCalls) {
    static const std::uint32_t seed = wanted_seed();
    constexpr unsigned all_calls = 100'000;
    const auto each = static_cast<unsigned>(
        (full_sweep() ? all_calls : all_calls / 20) / situations().size() + 1);
    in_situation(GetParam(), 0, [&] {
        const auto mine = static_cast<std::uint32_t>(
            std::hash<std::string>{}(std::string(GetParam().export_name) + GetParam().name));
        for (unsigned number = 0; number < each; ++number) {
            RandomCalls random(seed + mine + number);
            call_with("random call " + std::to_string(number) + " of seed " + std::to_string(seed),
                      random.change(arguments()));
        }
    });
}

SWEEP_ALL(InputSweep);

}  // namespace
