#include <cstdlib>
#include <utility>

#include "config/options_file.h"
#include "ktb/config.h"

namespace {

// Appends the key's character as it stands in the name of an environment variable.
void appendToVariable(const KtbString& character, KtbString* variable, bool* failed) {
    const char first = *character.asCstr();
    const bool small = first >= 'a' && first <= 'z';
    const bool kept = (first >= 'A' && first <= 'Z') || (first >= '0' && first <= '9');
    const char byte = small ? static_cast<char>(first - 'a' + 'A') : kept ? first : '_';
    variable->append(&byte, 1, failed);
}

// Puts the name of the key's environment variable into *variable. Returns false when memory is exhausted.
bool makeVariable(const KtbString& key, KtbString* variable) {
    bool failed = false;
    variable->append("KTB_", &failed);
    for (int i = 0; i < key.length() && !failed; ++i) {
        appendToVariable(key.mid(static_cast<unsigned>(i), 1), variable, &failed);
    }
    return !failed;
}

// The variable's text; null when it is not set or empty.
const char* textOfEnvironment(const KtbString& variable) {
    const char* text = std::getenv(variable.asCstr());
    return text && *text ? text : nullptr;
}

bool textOfFile(const KtbString& key, KtbString* text) {
    const char* path = std::getenv("KTB_OPTIONS");
    return path && *path && readOptionFromFile(path, key.asCstr(), text);
}

// Nothing is kept from one call to the next: options are asked for rarely, and a change of the environment counts at once.
class Options final : public KtbConfigOptions {
public:
    bool isSet(const KtbString& key) override {
        KtbString text;
        return getValue(key, &text, 0);
    }

    bool getValue(const KtbString& key, KtbString* value, int) override {
        KtbString variable;
        if (key.cStrSize() == 1) return false;
        KtbString text(nullptr);
        if (makeVariable(key, &variable)) {
            const char* environment = textOfEnvironment(variable);
            text = KtbString(environment);
            if (!environment && !textOfFile(key, &text)) return false;
            if (!text.isNull() && text.length() == 0) return false;
        }
        *value = std::move(text);
        return true;
    }
};

}  // namespace

KtbConfigOptions* ktbGetConfigOptions(const KtbString&) {
    static Options options;
    return &options;
}
