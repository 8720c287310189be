// What a verification tells of a table.
#ifndef KTWT_TESTS_TABLE_FINDINGS_H
#define KTWT_TESTS_TABLE_FINDINGS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "ktwt/inspect.h"

struct Finding {
    std::string path;
    int kind = 0;
    int element = -1;
    long row = -1;
    long offset = -1;
    std::string text;

    friend bool operator==(const Finding&, const Finding&) = default;

    friend void PrintTo(const Finding& finding, std::ostream* out) {
        *out << finding.path << " kind " << finding.kind << " element " << finding.element << " row " << finding.row
             << " offset " << finding.offset << ": " << finding.text;
    }
};

class Findings : public KtWorkTableFindingVisitor {
public:
    explicit Findings(std::size_t most = SIZE_MAX) : most_(most) {}

    bool visit(const KtWorkTableFinding& finding) override {
        all.push_back({finding.path, finding.kind, finding.element, finding.row, finding.offset, finding.text});
        EXPECT_EQ(all.back().text.find('\n'), std::string::npos);
        EXPECT_FALSE(all.back().text.empty());
        return all.size() < most_;
    }

    std::vector<Finding> all;

private:
    const std::size_t most_;
};

struct Verified {
    bool looked = false;
    std::vector<Finding> findings;
    KtWorkTableVerification counts = {};
    std::string error;
};

// Verifies a table, and expects what is true of every answer.
inline Verified verify(const std::string& directories, const std::string& name, std::size_t most = SIZE_MAX) {
    Verified result;
    Findings findings(most);
    KtbString error;
    result.looked = ktwtVerifyTable(directories.c_str(), name.c_str(), &findings, &result.counts, &error);
    result.findings = std::move(findings.all);
    result.error = error.asCstr();
    EXPECT_EQ(result.looked, result.error.empty()) << result.error;
    EXPECT_EQ(result.counts.findings, static_cast<long>(result.findings.size()));
    return result;
}

// The files of a table as they are told.
struct FilePart {
    std::string path;
    int kind = 0;
    int element = -1;
    long rows = -1;
    long bytes = -1;

    friend bool operator==(const FilePart&, const FilePart&) = default;

    friend void PrintTo(const FilePart& part, std::ostream* out) {
        *out << part.path << " kind " << part.kind << " element " << part.element << " rows " << part.rows << " bytes "
             << part.bytes;
    }
};

class FileParts : public KtWorkTableFileVisitor {
public:
    explicit FileParts(std::size_t most = SIZE_MAX) : most_(most) {}

    bool visit(const KtWorkTableFilePart& file) override {
        all.push_back({file.path, file.kind, file.element, file.rows, file.bytes});
        return all.size() < most_;
    }

    std::vector<FilePart> all;

private:
    const std::size_t most_;
};

#endif
