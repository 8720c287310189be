// Environment variables of this process, for as long as a test needs them.
#ifndef KTWT_TESTS_ENVIRONMENT_H
#define KTWT_TESTS_ENVIRONMENT_H

#include <cstdlib>
#include <string>

// Sets an environment variable, or removes it with null, for as long as the object lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value) : name_(name) {
        if (const char* before = std::getenv(name)) {
            before_ = before;
            wasSet_ = true;
        }
        set(value);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { set(wasSet_ ? before_.c_str() : nullptr); }

private:
    void set(const char* value) {
        if (value != nullptr) {
            setenv(name_, value, 1);
        } else {
            unsetenv(name_);
        }
    }

    const char* name_;
    std::string before_;
    bool wasSet_ = false;
};

#endif
