// KTWTFileImpl: one work table, a header file and any number of data elements.
//
// One class over several concerns, a source file each: wtfile.cpp (its life: create, open, close, remove), wtfile_header.cpp
// (the header file), wtfile_columns.cpp (definitions and selections), wtfile_rows.cpp (rows across elements), wtfile_sort.cpp
// (rows sorted on the way in), wtfile_transfer.cpp (copy, append, partition), wtfile_describe.cpp (the table as a URI),
// wtfile_xml.cpp (rows as XML), wtstats.cpp (its figures).
//
// Constructed -> create() -> writable -> close(). Constructed -> open() -> read-only, or writable for appending -> close().
// close() may be called again and then does nothing; opening closes first, as what the table was until then.
#ifndef KTWT_WTFILE_H
#define KTWT_WTFILE_H

#include <memory>

#include "ktb/fio.h"
#include "ktwt/file.h"
#include "wtcolumn.h"
#include "wtmessage.h"

class KTWTFileElement;
class KTWTManagerImpl;
class KTWTXmlDocument;
class KtWorkTableURI;

struct KTWTSortRelease {
    void operator()(KtDatafileRowSort* sort) const { sort->release(); }
};

// One sort key of a table.
struct KTWTSortKey {
    int column = 0;
    bool descending = false;
    KTSortCollateParms* parms = nullptr;  // the caller's
};

class KTWTFileImpl : public KtWorkTableFile {
public:
    explicit KTWTFileImpl(KTWTManagerImpl* manager);
    KTWTFileImpl(const KTWTFileImpl&) = delete;
    KTWTFileImpl& operator=(const KTWTFileImpl&) = delete;

    int setSort(int index, int column, bool descending, KTSortCollateParms* parms) override;
    int setSortInfo(KtDatafileSortInfo* info) override;
    int setSortProgress(KtDatafileSortProgress* progress) override;
    bool close() override;
    bool defineColumnInfo(int column, KtbString name, ktbType type, int width) override;
    bool getColumnInfo(int column, KtbString* name, ktbType* type, int* width, int* longest) override;
    int getColumns() override;
    KtbString getError() override;
    KtbString getName() override;
    long getRows() override;
    bool readRow(KtbDatavar* values, bool* end) override;
    bool readRow(KtbDatavar** values, bool* end) override;
    bool readRows(long first, int count, KtbString* out, bool* end) override;
    void release() override;
    KtbStringCursor* statistics() override;
    KtbString toURIString(bool all) override;
    bool writeRow(KtbDatavar* values) override;
    bool writeRow(KtbDatavar** values) override;

    // Closes the table; removes it from disk when it was created here and its error text is set.
    virtual ~KTWTFileImpl();

    // Makes a new, empty, writable table. Its header is written by close().
    bool create(int columns, int sortColumns, long elementSize);

    // Opens the table from its header, for reading or for appending. `range` is null or first row and row count. Leaves the
    // read-only mark as it is: a table opened here for reading can be described, but delivers no rows.
    bool open(const KtbString& name, bool readOnly, long* range, bool reversed);

    // Open for reading, with columns chosen by number, by name, or by a URI (or all columns of a plain table name).
    bool open(const KtbString& name, int count, int* columns, long* range, bool reversed);
    bool open(const KtbString& name, int count, const KtbString* columns, long* range, bool reversed);
    bool open(const KtbString& uri, bool reversed);

    // Deletes the table's files, as far as they can be deleted.
    bool remove();

    // Copies the columns and rows that `source`, open for reading, shows. A table without rows takes over the column
    // definitions; one with rows, whose columns must agree in name and type, keeps its own. Rows written before a failure stay.
    bool copy(KTWTFileImpl* source);

    // Appends the rows of the table or URI `source`, whose columns must agree in number and, unless they were chosen, in name
    // and type. Rows written before a failure stay.
    bool append(const KtbString& source);

    // Closes a table opened for appending. When its new rows cannot be stored, the rows before are kept.
    bool endAppending();

    // Splits the rows into at most *parts ranges, as KtWorkTableManager::partition does.
    bool partition(int* parts, long* ranges);

    // Closes the current data element and starts a new one.
    bool createDataElement();

    int getActualColumns() const { return columnCount_; }
    KTWTColumnDef* getActualColumnDefs() const { return columnDefs_.get(); }
    KTWTManagerImpl* getManager() const { return manager_; }
    bool getReversed() const { return reversed_; }
    unsigned char* getStringBuffer() const { return stringBuffer_.get(); }
    long getStringBufferSize() const { return stringBufferSize_; }
    int getVersion() const { return version_; }
    long getElementSize() const { return elementSize_; }
    bool isByteSwap() const { return byteSwap_; }
    bool isReadOnly() const { return readOnly_; }
    int getElementCount() const { return elementCount_; }

    // The name itself: a copy may find no memory.
    const KtbString& headerName() const { return name_; }

    // Opens and holds the header file as a reader does, without reading it, for callers who look at the table from outside.
    bool openForInspection(const KtbString& name);
    np_file* headerHandle() const { return headerFile_; }
    const KtbString& headerPath() const { return headerPath_; }

    // Reads what a header file tells, from its start, without opening the table. The handle stays the caller's.
    bool readHeader(np_file* file);

    // Whether a header was never finished: it gets its fixed part last, so that it is shorter than that or begins with zeros
    // until then. *known is false when the disk does not tell.
    static bool isUnfinished(np_file* file, bool* known);

    // Whether somebody began to remove the table of the header that has just been read from there.
    static bool isMarkedForRemoval(np_file* file);
    const KTWTFileElement& elementAt(int index) const { return *elements_[static_cast<std::size_t>(index)]; }

    // Whether this object made the table and has written it out. An error text would have it removed all the same.
    bool isFinished() const { return created_ && !isOpenForWriting(); }

private:
    static constexpr char messageSource[] = "wtfile";

    // How openHeader() is to open the table.
    struct OpenMode {
        bool readOnly;      // the header file is opened for reading only
        bool markReadOnly;  // the table becomes read-only
        bool reversed;
    };

    bool fail(KtbString text) {
        ktwt::setFailure(&error_, std::move(text));
        return false;
    }

    // The columns of the caller's row.
    int rowColumns() const { return selection_ ? selectedCount_ : columnCount_; }

    // wtfile.cpp
    bool openHeader(const KtbString& name, OpenMode mode, long* range);
    bool openHeaderFile(bool readOnly);
    int holdHeader(bool readOnly);
    void abandonHeader();
    bool applyRange(const long* range, long* startRow);
    bool openForAppending();
    bool openForReading(long startRow);
    bool openElementOf(long row);
    bool failIn(KTWTFileElement* element);
    bool abandonOpening();
    bool closeCurrent(bool reportFailure);
    bool closeHeader(bool reportFailure);
    bool closeWritable(bool closed);
    bool removeFiles();
    void dropElements();

    // wtfile_header.cpp
    bool persist();
    bool persistFixedPart();
    bool flushHeader();
    bool putHeader(const void* bytes, unsigned long count);
    bool persistColumn(const KTWTColumnDef& column);
    bool restoreHeader();
    bool restoreLabel(int bytes);
    bool restoreColumns(int count, long size);
    bool restoreColumn(KTWTColumnDef* column, long rest);
    bool restoreColumnName(KTWTColumnDef* column, int bytes);
    bool restoreElements(int count, long size);
    bool skipExtra(int length, int known);
    long headerSize();

    // wtfile_columns.cpp
    int findColumn(const KtbString& name) const;
    bool selectAll();
    bool selectByIndex(int count, const int* columns);
    bool selectIndex(int slot, int column, bool reportFailure);
    bool selectByName(int count, const KtbString* columns);
    bool selectByURI(KtWorkTableURI* uri);
    bool openURI(KtWorkTableURI* uri, bool reversed);
    bool isWholeTable(KtWorkTableURI* uri) const;
    bool newSelection(int count, const char* what);
    void dropSelection();
    bool selectStored(int slot, int column, const char* what);
    bool selectAlias(int slot, int column, const KtbString& name);
    KTWTColumnDef* selectConstant(int slot, const KtbString& name);
    bool setConstant(int slot, ktbType type, const KtbString& text);
    bool allocateStringBuffer(long longest);
    long longestSelected() const;
    const KTWTColumnDef* visibleColumn(int column) const;
    bool columnsAreDefined() const;

    // wtfile_rows.cpp
    KtbDatavar** valueVector(int count);
    KtbDatavar** pointTo(KtbDatavar* values);
    bool isOpenForWriting() const;
    bool prepareFirstRow();
    bool writeToElement(KtbDatavar** values);
    bool failWriting(const KtbString& text);
    bool growElements();
    bool rangeIsRead() const;
    bool openNextElement(bool* end);
    bool placeConstants(KtbDatavar** values, int* wanted);

    // wtfile_transfer.cpp
    std::unique_ptr<KtbDatavar[]> newRow(const KTWTFileImpl& source);
    bool transferRows(KTWTFileImpl& source, KtbDatavar* values, const char* operation);
    bool countsAgree(const KTWTFileImpl& source);
    bool columnsAgree(const KTWTFileImpl& source, int count);
    bool copyDefinitions(const KTWTFileImpl& source);
    int copiedWidth(int column) const;
    void raiseLongest(const KTWTFileImpl& source);
    bool replaceHeader();
    bool putBackHeader(const unsigned char* bytes, unsigned long size);
    void forgetAppended();

    // wtfile_sort.cpp
    bool prepareSort();
    bool createSort();
    bool declareSortColumns(KtDatafileManager& sorts) const;
    bool describeSort();
    bool findSortSlots();
    bool writeSortedRow(KtbDatavar** values);
    bool drainSort();
    bool takeSortedRows();
    bool fetchSortedRow(KtbDatavar** values);
    bool failSorting();
    void dropSort();
    void abandonSort();

    // wtfile_describe.cpp
    bool describeStored(KtWorkTableURI* uri, bool all) const;
    bool describeSelected(KtWorkTableURI* uri) const;

    // wtfile_xml.cpp
    bool addRows(KTWTXmlDocument* document, KtbDatavar* values, int count, bool* end);

    KTWTManagerImpl* const manager_;
    KtbString label_;  // free text that the header carries from one opening to the next
    long elementSize_ = 0;
    long rows_ = 0;
    long rangeStart_ = 0;
    long rangeCount_ = -1;  // -1: to the end
    long rangeEnd_ = -1;    // -1: no end
    short version_ = 0;
    KtbString error_;
    bool created_ = false;
    bool reversed_ = false;
    np_file* headerFile_ = nullptr;
    bool headerReadOnly_ = false;  // the header handle cannot be written
    KtbString name_;
    KtbString headerPath_;
    bool readOnly_ = false;
    bool byteSwap_ = false;
    long currentRow_ = 0;  // the next row to read, or the row count when appending
    int directory_ = 0;    // the work directory that holds the header
    std::unique_ptr<unsigned char[]> stringBuffer_;
    long stringBufferSize_ = 0;
    int columnCount_ = 0;
    std::unique_ptr<KTWTColumnDef[]> columnDefs_;
    std::unique_ptr<KtbDatavar*[]> valueVector_;
    int valueVectorSize_ = 0;
    KtbDatavar* pointedAt_ = nullptr;  // the array whose values the vector points at
    bool hasConstants_ = false;
    int selectedCount_ = 0;
    std::unique_ptr<KTWTSelectionEntry[]> selection_;  // none: all columns in stored order
    int nextElement_ = 0;                              // the element to be read after the current one
    int elementCount_ = 0;
    int elementCapacity_ = 0;
    int storedElementCount_ = 0;  // of them, those that the header counted when the table was opened for appending
    std::unique_ptr<std::unique_ptr<KTWTFileElement>[]> elements_;
    KTWTFileElement* current_ = nullptr;  // one of the elements, being read or appended to
    int sortColumnCount_ = 0;
    std::unique_ptr<KTWTSortKey[]> sortKeys_;
    KtDatafileSortInfo* sortInfo_ = nullptr;                    // the caller's
    KtDatafileSortProgress* sortProgress_ = nullptr;            // the caller's
    std::unique_ptr<KtDatafileRowSort, KTWTSortRelease> sort_;  // holds the rows from the first one until close
    std::unique_ptr<KtbDatavar*[]> sortSlots_;                  // its places for the values of a row
    bool firstRowPrepared_ = false;
    bool writeFailed_ = false;  // the files refused a row: no more rows, and no good end
    KtbString writeFailure_;    // why
    bool removed_ = false;      // the files are gone
};

#endif
