#pragma once

#include <stdlib.h>

#include <optional>
#include <string>

namespace support {

/// Sets an environment variable, or removes it for null, until the end of the scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = getenv(name)) {
            old_ = old;
        }
        set(value);
    }
    ~ScopedEnv() { set(old_ ? old_->c_str() : nullptr); }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    void set(const char* value) {
        value ? setenv(name_.c_str(), value, 1) : unsetenv(name_.c_str());
    }

    std::string name_;
    std::optional<std::string> old_;
};

}  // namespace support
