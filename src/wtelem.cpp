// The files of a data element: made, found, opened, closed, removed, and recorded in the header.
#include "wtelem.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

#include "wtcodec.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"
#include "wtpath.h"

using ktwt::PlacedFile;

KTWTFileElement::KTWTFileElement(KTWTFileImpl* owner)
    : owner_(owner), reversed_(owner->getReversed()), byteSwap_(owner->isByteSwap()) {}

KTWTFileElement::~KTWTFileElement() {
    close();  // nobody is left to be told of a failure
    if (!halfCreated_) return;
    if (indexPath_.length() != 0) np_fio_unlink(indexPath_.asCstr());  // likewise
    if (dataPath_.length() != 0) np_fio_unlink(dataPath_.asCstr());
}

bool KTWTFileElement::createFile(int first, const char* prefix, const char* what, PlacedFile* placed, KtbString* name) {
    const KTWTManagerImpl& manager = *owner_->getManager();
    *placed = ktwt::createFile(manager, first, ktwt::OwnedPrefix(prefix, owner_->headerName()).text());
    if (placed->file == nullptr) {
        const KtbString& last = manager.directoryAt(manager.getDirectoryCount() - 1);
        return fail(KTWT_MESSAGE(1417, last.asCstr(), placed->code, np_fio_errdesc(placed->code)));
    }
    const int code = ktwt::lastPathPart(placed->path, name);
    return code == np_ok || fail(KTWT_MESSAGE(1783, what, code, np_fio_errdesc(code)));
}

bool KTWTFileElement::create(int directory) {
    halfCreated_ = true;
    PlacedFile index;
    const bool indexMade = createFile(directory, ktwt::indexPrefix, "data element index", &index, &indexName_);
    indexFile_ = index.file;
    indexPath_ = std::move(index.path);  // a copy could fail, and the file could not be removed any more
    if (!indexMade) return false;
    directory_ = index.directory;

    PlacedFile data;
    const bool dataMade = createFile(directory_, ktwt::dataPrefix, "data element", &data, &name_);
    dataFile_ = data.file;
    dataPath_ = std::move(data.path);
    if (!dataMade) return false;

    columnCount_ = owner_->getActualColumns();
    columnDefs_ = owner_->getActualColumnDefs();
    halfCreated_ = false;
    return true;
}

bool KTWTFileElement::open(bool readOnly) {
    if (!close()) return false;
    const int mode = readOnly ? np_mode_read : np_mode_update;
    columnCount_ = owner_->getActualColumns();
    columnDefs_ = owner_->getActualColumnDefs();
    if (indexName_.length() != 0 && !openIndexFile(mode)) return false;
    if (!openDataFile(mode)) return false;
    if (readOnly) return true;
    np_status64 status;
    const int code = np_fio_stat64(dataPath_.asCstr(), &status);
    if (code != np_ok) return fail(KTWT_MESSAGE(1353, dataPath_.asCstr(), np_fio_errdesc(code)));
    size_ = status.size;
    return true;
}

bool KTWTFileElement::openIndexFile(int mode) {
    int code = np_ok;
    if (indexPath_.length() != 0) {
        code = np_fio_open(indexPath_.asCstr(), mode, &indexFile_);
    } else {
        PlacedFile found = ktwt::openFile(*owner_->getManager(), directory_, indexName_, ktwt::indexPrefix, mode);
        code = found.code;
        if (found.joinFailed) return fail(KTWT_MESSAGE(1784, "element index", code, np_fio_errdesc(code)));
        indexFile_ = found.file;
        indexPath_ = std::move(found.path);
        if (code == np_ok) directory_ = found.directory;
    }
    // The message names the data file, which may not be known yet: callers expect an element to be called by its data file.
    return code == np_ok || fail(KTWT_MESSAGE(1353, dataPath_.asCstr(), np_fio_errdesc(code)));
}

bool KTWTFileElement::openDataFile(int mode) {
    int code = np_ok;
    if (dataPath_.length() != 0) {
        code = np_fio_open(dataPath_.asCstr(), mode, &dataFile_);
    } else {
        PlacedFile found = ktwt::openFile(*owner_->getManager(), directory_, name_, ktwt::dataPrefix, mode);
        code = found.code;
        if (found.joinFailed) return fail(KTWT_MESSAGE(1784, "element data", code, np_fio_errdesc(code)));
        dataFile_ = found.file;
        dataPath_ = std::move(found.path);
    }
    const KtbString& tried = dataPath_.length() != 0 ? dataPath_ : name_;
    return code == np_ok || fail(KTWT_MESSAGE(1353, tried.asCstr(), np_fio_errdesc(code)));
}

// Closes one file; one that could be written is flushed first, and whatever it could not store is a failure.
bool KTWTFileElement::closeFile(np_file** file, bool reportFailure) {
    if (*file == nullptr) return true;
    const bool readOnly = owner_->isReadOnly();
    const int flushed = readOnly ? np_ok : np_fio_bufmode(*file, 0);
    const int closed = np_fio_close(*file);
    *file = nullptr;
    const int code = flushed != np_ok ? flushed : closed;
    if (readOnly || code == np_ok) return true;  // a file that was only read has nothing to lose
    if (reportFailure) fail(KTWT_MESSAGE(1045, np_fio_errdesc(code)));
    return false;
}

bool KTWTFileElement::close() {
    const bool indexClosed = closeFile(&indexFile_, true);
    const bool dataClosed = closeFile(&dataFile_, indexClosed);
    bool closed = indexClosed && dataClosed;
    // The write that was refused came back without a message; the row it belongs to must not look stored in the end.
    if (closed && rowCut_) closed = fail(KTWT_MESSAGE(1044));
    rowCut_ = false;
    resetReader();
    return closed;
}

void KTWTFileElement::resetReader() {
    currentRow_ = 0;
    input_ = {};
    index_ = {};
    size_ = 0;
    firstRead_ = true;
    positioned_ = false;
    stringBuffer_ = nullptr;
    stringBufferSize_ = 0;
}

// Finds out where the files are when a path is not known yet.
bool KTWTFileElement::locate(const KtbString& path) {
    if (path.length() != 0) return true;
    if (!open(true)) return false;
    close();  // opened only to learn the paths
    return true;
}

bool KTWTFileElement::unlink(const KtbString& path, bool reportFailure) {
    const int code = np_fio_unlink(path.asCstr());
    if (code != np_ok && reportFailure) fail(KTWT_MESSAGE(1747, np_fio_errdesc(code)));
    return code == np_ok;
}

bool KTWTFileElement::remove() {
    if (name_.length() == 0) return true;
    close();  // what could not be written is about to go
    bool removed = true;
    if (indexName_.length() != 0) {
        if (!locate(indexPath_)) return false;
        removed = unlink(indexPath_, true);
    }
    if (!locate(dataPath_)) return false;
    return unlink(dataPath_, removed) && removed;
}

long KTWTFileElement::findDataSize() const { return ktwt::findFileSize(*owner_->getManager(), name_, ktwt::dataPrefix); }

bool KTWTFileElement::persist(np_file* header) {
    const int nameBytes = name_.cStrSize();
    const int indexBytes = indexName_.cStrSize() > 1 ? indexName_.cStrSize() : 0;
    unsigned char record[recordSize];
    ktwt::store<std::uint32_t>(record, recordSize);
    ktwt::store<std::int16_t>(record + 4, static_cast<std::int16_t>(nameBytes));
    ktwt::store<std::int16_t>(record + 6, static_cast<std::int16_t>(indexBytes));
    ktwt::store<std::int64_t>(record + 8, rows_);
    const auto put = [header](const void* bytes, int count) {
        return np_fio_putb(header, bytes, static_cast<unsigned long>(count)) == static_cast<unsigned long>(count);
    };
    const bool stored =
        put(record, recordSize) && put(name_.asCstr(), nameBytes) && (indexBytes == 0 || put(indexName_.asCstr(), indexBytes));
    return stored || fail(KTWT_MESSAGE(1044));
}

bool KTWTFileElement::restore(np_file* header) {
    unsigned char record[recordSize];
    if (np_fio_getb(header, record, recordSize) != recordSize) return fail(KTWT_MESSAGE(1301, "element definition"));
    const long length = ktwt::load<std::uint32_t>(record, byteSwap_);
    const int nameBytes = ktwt::load<std::int16_t>(record + 4, byteSwap_);
    const int indexBytes = ktwt::load<std::int16_t>(record + 6, byteSwap_);
    if (length < recordSize) return fail(KTWT_MESSAGE(1786));
    if (length > recordSize && np_fio_seek64(header, length - recordSize, np_from_current) < 0) {
        return fail(KTWT_MESSAGE(1786));
    }
    if (!restoreName(header, nameBytes, "element name", &name_)) return false;
    if (indexBytes != 0 && !restoreName(header, indexBytes, "element index name", &indexName_)) return false;
    rows_ = ktwt::load<std::int64_t>(record + 8, byteSwap_);
    return true;
}

bool KTWTFileElement::restoreName(np_file* header, int bytes, const char* what, KtbString* name) {
    if (bytes < 1) return fail(KTWT_MESSAGE(1301, what));
    // At most 32 KiB, since the length has 16 bits: no need to look at the file's size first.
    const auto count = static_cast<unsigned long>(bytes);
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[count]);
    if (!buffer) return fail(KTWT_MESSAGE(29, "(element name)"));
    if (np_fio_getb(header, buffer.get(), count) != count) return fail(KTWT_MESSAGE(1301, what));
    if (buffer[count - 1] != '\0') return fail(KTWT_MESSAGE(1301, what));  // written again it would be longer
    name->assign(buffer.get(), bytes);
    return !name->isNull() || fail(KTWT_MESSAGE(29, "(element name)"));
}
