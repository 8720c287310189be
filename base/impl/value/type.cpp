#include "ktb/type.h"

#include "ktb/string.h"

namespace {

constexpr const char* typeNames[] = {"none", "boolean", "integer", "decimal", "string", "date", "double"};
constexpr int typeCount = sizeof typeNames / sizeof *typeNames;

bool isDigitOfType(const char* text) { return text[0] >= '0' && text[0] < '0' + typeCount && text[1] == 0; }

}  // namespace

const char* ktbTypeToString(ktbType type) { return typeNames[type >= 0 && type < typeCount ? type : ktbTypeString]; }

bool ktbTypeFromString(const char* name, ktbType* type) {
    if (name == nullptr) return false;
    if (isDigitOfType(name)) {
        *type = name[0] - '0';
        return true;
    }
    const KtbString wanted(name, true);
    for (ktbType candidate = 0; candidate < typeCount; ++candidate) {
        if (wanted.compare(typeNames[candidate], false) == 0) {
            *type = candidate;
            return true;
        }
    }
    return false;
}
