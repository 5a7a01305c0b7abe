#pragma once
#include <exception>
#include <string>

// The library's exception type, thrown only by the reference-counted callable
// holder of the thread entry.
class PXRuntimeError : public std::exception {
public:
    explicit PXRuntimeError(const std::string& message) : m_strMessage(message) {}
    // A null pointer gives an empty message.
    explicit PXRuntimeError(const char* const& message) : m_strMessage("") {
        if (message != nullptr) {
            m_strMessage += message;
        }
    }
    ~PXRuntimeError() override {}
    const char* what() const noexcept override { return m_strMessage.c_str(); }

private:
    std::string m_strMessage;
};
