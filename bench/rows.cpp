#include "rows.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <random>

namespace bench {

namespace {

std::string randomText(std::mt19937_64& random, int lengthMin, int lengthMax) {
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string text(std::uniform_int_distribution<std::size_t>(static_cast<std::size_t>(lengthMin),
                                                                static_cast<std::size_t>(lengthMax))(random),
                     ' ');
    for (char& c : text) c = letters[random() % (sizeof letters - 1)];
    return text;
}

KtbReal randomPrice(std::mt19937_64& random) {
    char text[32];
    std::snprintf(text, sizeof text, "%d.%02d", static_cast<int>(random() % 100000), static_cast<int>(random() % 100));
    KtbReal price;
    price.assign(text);
    return price;
}

}  // namespace

Rows::Rows() : values_(static_cast<std::size_t>(distinct * columns)) {
    std::mt19937_64 random(20240229);
    for (long n = 0; n < distinct; ++n) {
        KtbDatavar* values = row(n);
        values[0].assign(static_cast<long>(random()));
        values[1].assign(static_cast<long>(random() % 1000));
        values[2].assign(random() % 2 == 0);
        values[3].assign(randomPrice(random));
        values[4].assign(KtbDate(static_cast<double>(random() % 2000000000)));
        values[5].assign(randomText(random, 8, 24).c_str());
        values[6].assign(randomText(random, 7, 9).c_str());
        values[7].assign(randomText(random, 0, 60).c_str());
        if (random() % 10 == 0) values[7].setNull();
    }
}

bool Rows::same(const KtbDatavar* a, const KtbDatavar* b) {
    for (int c = 0; c < columns; ++c) {
        if (a[c].isNull() != b[c].isNull() || a[c].asString().compare(b[c].asString(), true) != 0) return false;
    }
    return true;
}

Rows& rows() {
    static Rows instance;
    return instance;
}

namespace {

long count = 2000000;
long sortedCount = 5000000;

struct Directory {
    Directory() {
        path = (std::filesystem::temp_directory_path() / "ktwt-bench-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) std::abort();  // nothing can be measured without it
    }
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

}  // namespace

long rowCount() { return count; }
long sortedRowCount() { return sortedCount; }
void setRowCount(long newCount) { count = sortedCount = newCount; }

std::string directory(const std::string& name) {
    static const Directory all;
    const std::string path = all.path + "/" + name;
    std::filesystem::create_directories(path);
    return path;
}

Manager newManager(const std::string& name) {
    KtbString error;
    return Manager(ktwtCreateManager("", directory(name).c_str(), &error));
}

}  // namespace bench
