#include "wtinspect.h"

#include <utility>

#include "wtelem.h"
#include "wtmgr.h"
#include "wtpath.h"

namespace ktwt {

KtbString refusedFile(const char* path, int code) {
    constexpr char messageSource[] = "wtinspect";
    const char* text = np_fio_errdesc(code);
    return text != nullptr ? KTWT_MESSAGE(1353, path, text) : KTWT_MESSAGE(1352, path, code);
}

bool TableListing::fail(KtbString text) {
    setFailure(&error_, std::move(text));
    return false;
}

bool TableListing::run(const KtbString& name, KtbString* error) {
    const bool read = table_.openForInspection(name) && table_.readHeader(table_.headerHandle());
    bool listed = read ? tellHeader() : fail(table_.getError());
    for (int i = 0; listed && !stopped_ && i < table_.getElementCount(); ++i) listed = tellElement(i);
    if (!listed) *error = std::move(error_);
    return listed;
}

bool TableListing::tellHeader() {
    const char* path = table_.headerPath().asCstr();
    const long bytes = np_fio_seek64(table_.headerHandle(), 0, np_from_end);
    if (bytes < 0) return fail(refusedFile(path, np_err_io));
    tell({.path = path, .kind = ktwtFileHeader, .element = -1, .rows = table_.getRows(), .bytes = bytes});
    return true;
}

// Looks for the index file first, as a reader does: the search for the data file begins where that was found.
bool TableListing::tellElement(int number) {
    const KTWTFileElement& element = table_.elementAt(number);
    const long rows = element.getRows();
    const bool indexed = element.indexName().cStrSize() > 1;
    Found index;
    Found data;
    int directory = 0;
    if (indexed && !find(element.indexName(), indexPrefix, &directory, &index)) return false;
    if (!find(element.dataName(), dataPrefix, &directory, &data)) return false;
    tell({.path = data.path, .kind = ktwtFileData, .element = number, .rows = rows, .bytes = data.bytes});
    if (indexed) tell({.path = index.path, .kind = ktwtFileIndex, .element = number, .rows = rows, .bytes = index.bytes});
    return true;
}

bool TableListing::find(const KtbString& name, const char* prefix, int* directory, Found* found) {
    const int code = findFile(manager_, directory, name, prefix, found->buffer, sizeof found->buffer, &found->bytes);
    const bool isNowhere = code == np_err_no_such_file || code == np_err_name;
    found->path = isNowhere ? name.asCstr() : found->buffer;
    return code == np_ok || isMissing(code) || fail(refusedFile(found->path, code));
}

}  // namespace ktwt

extern "C" bool ktwtListTableFiles(const KtbString& directories, const KtbString& name, KtWorkTableFileVisitor* visitor,
                                   KtbString* error) {
    KTWTManagerImpl manager(KtbString(), directories, error);  // finds the directories as every manager does
    if (error->length() != 0 || !manager.isComplete()) return false;
    return ktwt::TableListing(&manager, visitor).run(name, error);
}
