// Rows in the formats that other programs, or people, read.
#ifndef TOOLS_KTWT_ROW_WRITER_H
#define TOOLS_KTWT_ROW_WRITER_H

#include <ktb/datavar.h>

#include <memory>
#include <string>
#include <vector>

#include "library.h"
#include "output.h"

class RowWriter {
public:
    virtual ~RowWriter() = default;

    // Writes what comes before the rows. Refuses columns that the format cannot tell apart, before anything is written.
    virtual Outcome begin(KtWorkTableFile& table, const std::vector<ColumnInfo>& columns) = 0;

    virtual void row(const KtbDatavar* values) = 0;

    // Writes what is still held back and, when all rows are there, what comes after them. A document that is not complete is
    // left open, so that nobody takes it for one that is.
    virtual void end(bool complete) = 0;

    // How many texts the format could not hold as they are, and have U+FFFD for each byte or character that it does not take.
    virtual long replacedTexts() const { return 0; }
};

// Each writes to an output that must live as long.
std::unique_ptr<RowWriter> makeCsvWriter(Output& out, bool withNames);
std::unique_ptr<RowWriter> makeTsvWriter(Output& out, bool withNames);
std::unique_ptr<RowWriter> makeJsonWriter(Output& out);
std::unique_ptr<RowWriter> makeJsonLinesWriter(Output& out);
std::unique_ptr<RowWriter> makeXmlWriter(Output& out);
std::unique_ptr<RowWriter> makeTextWriter(Output& out, bool withNames);

#endif
