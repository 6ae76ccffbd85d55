// Help of a command line that fits into 80 columns.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace lab {

// CLI11 indents what follows a line feed in a description, but adds none itself.
class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter() { column_width(first_column); }

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(CLI::Formatter::make_option_desc(option), columns - first_column);
    }
    std::string make_subcommand(const CLI::App* command) const override {
        std::stringstream out;
        CLI::detail::format_help(out, command->get_name(),
                                 wrapped(command->get_description(), columns - first_column),
                                 first_column);
        return out.str();
    }
    std::string make_description(const CLI::App* app) const override {
        return wrapped(CLI::Formatter::make_description(app), columns);
    }

  private:
    static constexpr std::size_t columns = 79;
    static constexpr std::size_t first_column = 26;

    static std::string wrapped(const std::string& text, std::size_t width) {
        std::string lines;
        std::size_t used = 0;
        std::size_t at = 0;
        while (at < text.size()) {
            const std::size_t end = text.find_first_of(" \n", at);
            const std::size_t length = (end == std::string::npos ? text.size() : end) - at;
            if (used != 0 && used + 1 + length > width) {
                lines += '\n';
                used = 0;
            } else if (used != 0) {
                lines += ' ';
                ++used;
            }
            lines.append(text, at, length);
            used += length;
            if (end == std::string::npos) {
                break;
            }
            if (text[end] == '\n') {
                lines += '\n';
                used = 0;
            }
            at = end + 1;
        }
        return lines;
    }
};

}  // namespace lab
