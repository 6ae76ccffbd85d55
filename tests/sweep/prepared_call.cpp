#include "prepared_call.h"

#include "farlo_dll.h"
#include "lab_cmd.h"
#include "ztcmd.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace sweep {
namespace {

using Kind = Argument::Kind;
using support::GuardedBuffer;

constexpr std::size_t most_arguments = 6;
using Entry = std::uint64_t (*)(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                std::uint64_t, std::uint64_t);

void reset_timeout() {}

std::wstring widen(const std::string& text) {
    return {text.begin(), text.end()};
}

// Two empty subfolders, one with another in it.
std::wstring make_folder() {
    const auto folder = support::environment().folder() / L"machines";
    std::error_code ignored;
    std::filesystem::create_directories(folder / L"one" / L"two", ignored);
    std::filesystem::create_directories(folder / L"three", ignored);
    return folder.wstring() + L"\\";
}

}  // namespace

Passed::Passed(const Argument& argument, opal_handle handle) : m_argument(argument) {
    switch (argument.kind) {
    case Kind::handle:
        m_word = reinterpret_cast<std::uint64_t>(handle);
        break;
    case Kind::own_handle:
        InitializeZtVmW(0, 0, &m_handle);
        m_word = reinterpret_cast<std::uint64_t>(m_handle);
        break;
    case Kind::slot:
        make_buffer(sizeof m_handle, &m_handle);
        break;
    case Kind::used_slot:
        InitializeZtVmW(0, 0, &m_handle);
        LabCmdDisconnect(m_handle);
        make_buffer(sizeof m_handle, &m_handle);
        break;
    case Kind::narrow:
        m_word = reinterpret_cast<std::uint64_t>(argument.text.c_str());
        break;
    case Kind::wide:
        m_wide = widen(argument.text);
        m_word = reinterpret_cast<std::uint64_t>(m_wide.c_str());
        break;
    case Kind::bytes: {
        const std::uint8_t bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
        make_buffer(sizeof bytes, bytes);
        break;
    }
    case Kind::out:
        make_buffer(argument.size, nullptr);
        break;
    case Kind::in_out: {
        const auto number = static_cast<std::uint32_t>(argument.number);
        make_buffer(sizeof number, &number);
        break;
    }
    case Kind::list: {
        m_target = std::make_unique<GuardedBuffer>(argument.size);
        const std::uint8_t* target = m_target->data();
        make_buffer(sizeof target, &target);
        break;
    }
    case Kind::null:
        break;
    case Kind::number:
        m_word = argument.number;
        break;
    case Kind::callback:
        m_word = reinterpret_cast<std::uint64_t>(&reset_timeout);
        break;
    case Kind::folder:
        m_wide = make_folder();
        m_word = reinterpret_cast<std::uint64_t>(m_wide.c_str());
        break;
    }
}

std::vector<std::uint8_t> Passed::output() const {
    switch (m_argument.kind) {
    case Kind::out:
    case Kind::in_out:
        return m_buffer->bytes();
    case Kind::list:
        return m_target->bytes();
    case Kind::slot:
    case Kind::used_slot:
        return {static_cast<std::uint8_t>(*m_buffer->as<opal_handle>() != nullptr)};
    default:
        return {};
    }
}
bool Passed::written() const {
    return m_argument.kind == Kind::list  ? !m_target->untouched()
           : m_argument.kind == Kind::out ? !m_buffer->untouched()
                                          : false;
}
std::string Passed::overrun() const {
    std::string text = m_buffer != nullptr ? m_buffer->overrun() : "";
    if (m_target != nullptr) {
        text += m_target->overrun();
    }
    return text;
}
opal_handle Passed::slot() const {
    return m_argument.kind == Kind::slot || m_argument.kind == Kind::used_slot
               ? *m_buffer->as<opal_handle>()
               : nullptr;
}
opal_handle Passed::own() const {
    return m_argument.kind == Kind::own_handle ? m_handle : nullptr;
}

void Passed::make_buffer(std::size_t size, const void* content) {
    m_buffer =
        std::make_unique<GuardedBuffer>(size, GuardedBuffer::Guard::behind, m_argument.misplaced);
    if (content != nullptr) {
        std::memcpy(m_buffer->data(), content, size);
    }
    m_word = reinterpret_cast<std::uint64_t>(m_buffer->data());
}

PreparedCall::PreparedCall(const std::vector<Argument>& arguments, opal_handle handle) {
    for (const Argument& argument : arguments) {
        m_arguments.push_back(std::make_unique<Passed>(argument, handle));
    }
}

std::uint32_t PreparedCall::run(FARPROC entry) {
    std::uint64_t words[most_arguments] = {};
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        words[i] = m_arguments[i]->word();
    }
    return static_cast<std::uint32_t>(reinterpret_cast<Entry>(reinterpret_cast<void*>(entry))(
        words[0], words[1], words[2], words[3], words[4], words[5]));
}

}  // namespace sweep
