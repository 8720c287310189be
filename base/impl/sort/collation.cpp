#include "sort/collation.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

namespace {

int compareBytes(SortText left, SortText right) {
    const int order = memcmp(left.bytes, right.bytes, std::min(left.size, right.size));
    if (order != 0) return order;
    return left.size < right.size ? -1 : left.size > right.size;
}

int compareFolded(SortText left, SortText right) {
    const std::size_t common = std::min(left.size, right.size);
    for (std::size_t i = 0; i < common; ++i) {
        const int order = Collation::folded(static_cast<unsigned char>(left.bytes[i])) -
                          Collation::folded(static_cast<unsigned char>(right.bytes[i]));
        if (order != 0) return order;
    }
    return left.size < right.size ? -1 : left.size > right.size;
}

}  // namespace

Collation::~Collation() {
    if (locale_ != nullptr) freelocale(locale_);
}

bool Collation::set(const KTSortCollateParms* parms, KtbString* error) {
    if (locale_ != nullptr) freelocale(locale_);
    locale_ = nullptr;
    kind_ = parms != nullptr ? parms->kind : ktSortCollateBytes;
    switch (kind_) {
        case ktSortCollateBytes:
        case ktSortCollateFold: return true;
        case ktSortCollateLocale: return setLocale(parms->locale, error);
        default: *error = ktbStringFormat("There is no collation of kind %d.", kind_); return false;
    }
}

// The name alone decides: the locale that the process runs in has no say, and an empty name, which would ask for it, is none.
bool Collation::setLocale(const char* name, KtbString* error) {
    const bool isName = name != nullptr && *name != 0;
    if (isName) locale_ = newlocale(LC_CTYPE_MASK | LC_COLLATE_MASK, name, nullptr);
    if (locale_ != nullptr) return true;
    if (isName && errno == ENOMEM) {
        *error = KtbString("Memory is exhausted: no room for the collation's locale.", true);
        return false;
    }
    *error = ktbStringFormat("The locale \"%s\" for the collation is not known to this system.", name != nullptr ? name : "");
    return false;
}

int Collation::compare(SortText left, SortText right) const {
    return isFold() ? compareFolded(left, right) : compareBytes(left, right);
}

bool Collation::transform(SortText text, ByteBuffer* key) const {
    key->clear();
    // Three bytes for one is usual; a second call then knows the size.
    for (std::size_t size = 4 * text.size + 16;;) {
        unsigned char* place = key->room(size);
        if (place == nullptr) return false;
        const std::size_t needed = strxfrm_l(reinterpret_cast<char*>(place), text.bytes, key->capacity(), locale_);
        if (needed < key->capacity()) {
            key->grow(needed);
            return true;
        }
        size = needed + 1;
    }
}
