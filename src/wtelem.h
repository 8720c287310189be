// KTWTFileElement: one data file of encoded rows and its index file of row offsets.
//
// A plain class that its table makes, uses and destroys; it takes no locks. An element is either created (both files new and
// open) or restored from the header and then opened. close() forgets handles and the reader's place and keeps names, paths and
// row count. A failing operation returns false and getError() says why; handles opened before the failure stay open until
// close().
//
// Index file: one signed 64-bit offset per row, in the writer's byte order: where in the data file the row begins.
// Record in the header file: 16 bytes (record length 16, name lengths with their NUL, rows), the data file's name, the index
// file's name.
#ifndef KTWT_WTELEM_H
#define KTWT_WTELEM_H

#include "ktb/datavar.h"
#include "ktb/fio.h"
#include "ktb/string.h"
#include "wtmessage.h"
#include "wtrowio.h"

class KTWTFileImpl;
struct KTWTColumnDef;

namespace ktwt {
struct PlacedFile;
}

class KTWTFileElement {
public:
    explicit KTWTFileElement(KTWTFileImpl* owner);
    KTWTFileElement(const KTWTFileElement&) = delete;
    KTWTFileElement& operator=(const KTWTFileElement&) = delete;

    // Closes the element. Its files stay, unless create() made only some of them: those were never counted by anybody.
    ~KTWTFileElement();

    // Creates both files, each in the first directory from `directory` on that accepts it.
    bool create(int directory);

    // Opens the files, wherever in the work directories they are. For writing, rows are appended at the data file's end.
    bool open(bool readOnly);

    // Places an element that is open for writing after its counted rows. Usually the files end there; when an earlier writer
    // never came to its end, there is more, which the next rows overwrite and which stays as long as none is written. An
    // element without an index is read through to find the place.
    bool placeForAppending();

    bool close();
    bool remove();

    // Write and read the element's record at the header file's current position.
    bool persist(np_file* header);
    bool restore(np_file* header);

    // Places the reader at a row, or at the end with -1. Placing it where it already is does nothing, whatever is open.
    bool seek(long row);

    // Appends one row: one value per stored column. *full tells that the data file has grown past the table's element size
    // limit.
    bool writeRow(KtbDatavar** values, bool* full);

    // Reads the next row, or passes over it when `wanted` is 0. `values` are the caller's output slots, of which `wanted` are
    // to be filled from stored columns; decoding stops when they are. False with *end true: no rows are left.
    bool readRow(KtbDatavar** values, int wanted, bool* end);

    long getRows() const { return rows_; }
    long getSize() const { return size_; }
    KtbString getError() const { return error_; }
    KtbString getName() const { return name_; }
    KtbString getIndex() const { return indexName_; }

    // The names themselves: a copy may find no memory.
    const KtbString& dataName() const { return name_; }
    const KtbString& indexName() const { return indexName_; }

    // The data file's size now, 0 when it cannot be found. Does not open it.
    long findDataSize() const;

private:
    static constexpr char messageSource[] = "wtelem";
    static constexpr int recordSize = 16;  // on disk
    static constexpr int decodedDamaged = -1;
    static constexpr int decodedExhausted = -2;

    bool fail(KtbString text) {
        ktwt::setFailure(&error_, std::move(text));
        return false;
    }

    // wtelem.cpp: the files
    bool createFile(int first, const char* prefix, const char* what, ktwt::PlacedFile* placed, KtbString* name);
    bool openIndexFile(int mode);
    bool openDataFile(int mode);
    bool closeFile(np_file** file, bool reportFailure);
    bool locate(const KtbString& path);
    bool unlink(const KtbString& path, bool reportFailure);
    bool restoreName(np_file* header, int bytes, const char* what, KtbString* name);
    void resetReader();

    // wtelem_read.cpp: decoding
    bool seekEnd();
    bool findEnd(long* end);
    bool findEndByReading(long* end);
    bool readForward(KtbDatavar** values, int wanted, bool* end);
    bool readReversed(KtbDatavar** values, int wanted, bool* end);
    bool beginReading();
    int decode(int first, KtbDatavar** values, int wanted);
    bool failDecoding(int decoded);
    static bool copyToFurtherTargets(const KTWTColumnDef& column, KtbDatavar** values);
    bool passRest(int column);
    bool nextIndexEntry(long* offset);
    bool skipRow();
    bool jumpToNextRow();
    bool stepBack();

    KTWTFileImpl* const owner_;
    KtbString name_;
    KtbString indexName_;  // empty: the element has no index
    long rows_ = 0;
    int directory_ = 0;  // where the files were made or last found
    const bool reversed_;
    KtbString error_;
    np_file* dataFile_ = nullptr;
    np_file* indexFile_ = nullptr;
    KtbString dataPath_;
    KtbString indexPath_;
    long currentRow_ = 0;
    ktwt::RowInput input_;  // the reader's place in the data file
    ktwt::RowInput index_;  // and in the index file
    long size_ = 0;         // where the next row will be written
    const bool byteSwap_;
    bool firstRead_ = true;
    bool positioned_ = false;
    int columnCount_ = 0;
    KTWTColumnDef* columnDefs_ = nullptr;
    unsigned char* stringBuffer_ = nullptr;
    long stringBufferSize_ = 0;
    bool halfCreated_ = false;  // create() began and did not finish
    bool rowCut_ = false;       // a row is in the file without all of its bytes: the element must not close well
    KtbString scratch_;         // the text of a value that is none; kept, so that writing stops allocating
};

#endif
