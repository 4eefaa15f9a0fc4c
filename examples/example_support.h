#pragma once

#include <tessolt/tessolt.h>

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace example {

/// A property read as UTF-8: text(*message, &IEMailMessage::get_Subject).
template <typename Interface>
std::string text(Interface& object, HRESULT (Interface::*get)(BSTR*)) {
    tessolt::Text value;
    (object.*get)(value.put());
    return value.utf8();
}

/// A property read as a number.
template <typename Interface>
LONG number(Interface& object, HRESULT (Interface::*get)(LONG*)) {
    LONG value = 0;
    (object.*get)(&value);
    return value;
}

/// Throws with the catalogue's text when the last operation of `object` failed.
template <typename Interface>
void check(Interface& object, const std::string& step) {
    const LONG error = number(object, &Interface::get_LastError);
    if (error != 0) {
        tessolt::Text why;
        object.GetErrorDescription(error, why.put());
        throw std::runtime_error(step + ": " + std::to_string(error) + " " + why.utf8());
    }
}

/// A new object by ProgID; throws when there is no such class.
template <typename Interface>
tessolt::ComPtr<Interface> create(const char* prog_id) {
    auto object = tessolt::CreateObject<Interface>(prog_id);
    if (!object) {
        throw std::runtime_error(std::string("no such class: ") + prog_id);
    }
    return object;
}

/// Where a server listens.
struct Server {
    std::string host;
    std::uint16_t port = 0;
};

/// Reads "HOST:PORT"; throws std::invalid_argument when it is something else.
inline Server parseServer(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    int port = 0;
    try {
        port = colon == std::string::npos ? 0 : std::stoi(text.substr(colon + 1));
    } catch (const std::exception&) {
        port = 0;
    }
    if (colon == 0 || port < 1 || port > 65535) {
        throw std::invalid_argument("want HOST:PORT, not " + text);
    }
    return {text.substr(0, colon), static_cast<std::uint16_t>(port)};
}

/// Runs the body of a program: its exit code, or 1 with the reason on standard error.
template <typename Body>
int runProgram(Body body) {
    try {
        body();
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}

}  // namespace example
