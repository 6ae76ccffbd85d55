// farlo.hpp stands on its own in C++17.
#include "farlo.hpp"

std::size_t count_groups();
std::size_t count_groups() {
    farlo::Connection connection(farlo::Library::load());
    return connection.groups(farlo::Scope::all).size();
}
