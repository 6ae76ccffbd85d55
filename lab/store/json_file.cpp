#include "store/json_file.h"

#include "store/string_conversions.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace lab {
namespace {

std::string read_file(const wchar_t* path, const std::string& name) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(_wfopen(path, L"rb"), fclose);
    if (file == nullptr) {
        throw std::runtime_error(name + ": " + std::strerror(errno));
    }
    std::string text;
    char block[16384];
    for (std::size_t got; (got = std::fread(block, 1, sizeof block, file.get())) != 0;) {
        text.append(block, got);
    }
    if (std::ferror(file.get()) != 0) {
        throw std::runtime_error(name + ": cannot be read");
    }
    return text;
}

}  // namespace

void use_json_file(const wchar_t* path, const std::function<void(const std::string& text)>& use) {
    const std::string name = narrow(path);
    const std::string text = read_file(path, name);
    try {
        use(text);
    } catch (const ScenarioError& error) {
        throw std::runtime_error(name + ":" + error.what());
    }
}

}  // namespace lab
