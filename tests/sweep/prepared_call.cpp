#include "sweep/prepared_call.h"

#include "support/farlo_dll.h"
#include "ztcmd.h"
#include "ztcmd/lab_cmd.h"

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

// With two subfolders, one of which has a subfolder.
std::wstring make_folder() {
    const auto folder = support::environment().folder() / L"machines";
    std::error_code ignored;
    std::filesystem::create_directories(folder / L"one" / L"two", ignored);
    std::filesystem::create_directories(folder / L"three", ignored);
    return folder.wstring() + L"\\";
}

}  // namespace

PassedArgument::PassedArgument(const Argument& argument, opal_handle handle)
    : m_argument(argument) {
    switch (argument.kind) {
    case Kind::handle:
        m_value = reinterpret_cast<std::uint64_t>(handle);
        break;
    case Kind::own_handle:
        InitializeZtVmW(0, 0, &m_handle);
        m_value = reinterpret_cast<std::uint64_t>(m_handle);
        break;
    case Kind::empty_slot:
        make_buffer(sizeof m_handle, &m_handle);
        break;
    case Kind::disconnected_slot:
        InitializeZtVmW(0, 0, &m_handle);
        LabCmdDisconnect(m_handle);
        make_buffer(sizeof m_handle, &m_handle);
        break;
    case Kind::narrow:
        m_value = reinterpret_cast<std::uint64_t>(argument.string.c_str());
        break;
    case Kind::wide:
        m_wide = widen(argument.string);
        m_value = reinterpret_cast<std::uint64_t>(m_wide.c_str());
        break;
    case Kind::bytes: {
        const std::uint8_t bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
        make_buffer(sizeof bytes, bytes);
        break;
    }
    case Kind::output:
        make_buffer(argument.size, nullptr);
        break;
    case Kind::in_out: {
        const auto number = static_cast<std::uint32_t>(argument.number);
        make_buffer(sizeof number, &number);
        break;
    }
    case Kind::name_list: {
        m_names = std::make_unique<GuardedBuffer>(argument.size);
        const std::uint8_t* target = m_names->data();
        make_buffer(sizeof target, &target);
        break;
    }
    case Kind::null:
        break;
    case Kind::number:
        m_value = argument.number;
        break;
    case Kind::callback:
        m_value = reinterpret_cast<std::uint64_t>(&reset_timeout);
        break;
    case Kind::folder:
        m_wide = make_folder();
        m_value = reinterpret_cast<std::uint64_t>(m_wide.c_str());
        break;
    }
}

std::vector<std::uint8_t> PassedArgument::output() const {
    switch (m_argument.kind) {
    case Kind::output:
    case Kind::in_out:
        return m_buffer->bytes();
    case Kind::name_list:
        return m_names->bytes();
    case Kind::empty_slot:
    case Kind::disconnected_slot:
        return {static_cast<std::uint8_t>(*m_buffer->as<opal_handle>() != nullptr)};
    default:
        return {};
    }
}
bool PassedArgument::written() const {
    return m_argument.kind == Kind::name_list ? !m_names->untouched()
           : m_argument.kind == Kind::output  ? !m_buffer->untouched()
                                              : false;
}
std::string PassedArgument::overrun() const {
    std::string text = m_buffer != nullptr ? m_buffer->overrun() : "";
    if (m_names != nullptr) {
        text += m_names->overrun();
    }
    return text;
}
opal_handle PassedArgument::slot_handle() const {
    return m_argument.kind == Kind::empty_slot || m_argument.kind == Kind::disconnected_slot
               ? *m_buffer->as<opal_handle>()
               : nullptr;
}
opal_handle PassedArgument::own_handle() const {
    return m_argument.kind == Kind::own_handle ? m_handle : nullptr;
}

void PassedArgument::make_buffer(std::size_t size, const void* content) {
    m_buffer = std::make_unique<GuardedBuffer>(size, GuardedBuffer::Guard::after,
                                               m_argument.misaligned_by);
    if (content != nullptr) {
        std::memcpy(m_buffer->data(), content, size);
    }
    m_value = reinterpret_cast<std::uint64_t>(m_buffer->data());
}

PreparedCall::PreparedCall(const std::vector<Argument>& arguments, opal_handle handle) {
    for (const Argument& argument : arguments) {
        m_arguments.push_back(std::make_unique<PassedArgument>(argument, handle));
    }
}

std::uint32_t PreparedCall::run(FARPROC entry) {
    std::uint64_t values[most_arguments] = {};
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        values[i] = m_arguments[i]->value();
    }
    return static_cast<std::uint32_t>(reinterpret_cast<Entry>(reinterpret_cast<void*>(entry))(
        values[0], values[1], values[2], values[3], values[4], values[5]));
}

}  // namespace sweep
