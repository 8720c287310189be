// What looks at a table from outside: here its files are found and told, and none but the header is opened.
#ifndef KTWT_WTINSPECT_H
#define KTWT_WTINSPECT_H

#include "ktwt/inspect.h"
#include "wtfile.h"

namespace ktwt {

// The message that a file could not be opened, or its size not be found.
KtbString refusedFile(const char* path, int code);

class TableListing {
public:
    TableListing(KTWTManagerImpl* manager, KtWorkTableFileVisitor* visitor)
        : manager_(*manager), table_(manager), visitor_(visitor) {}
    TableListing(const TableListing&) = delete;
    TableListing& operator=(const TableListing&) = delete;

    // Once. Returns false with the reason in *error.
    bool run(const KtbString& name, KtbString* error);

private:
    struct Found {
        const char* path = nullptr;
        long bytes = -1;
        char buffer[np_path_max];
    };

    bool tellHeader();
    bool tellElement(int number);
    bool find(const KtbString& name, const char* prefix, int* directory, Found* found);
    void tell(const KtWorkTableFilePart& part) { stopped_ = stopped_ || !visitor_->visit(part); }
    bool fail(KtbString text);

    const KTWTManagerImpl& manager_;
    KTWTFileImpl table_;
    KtWorkTableFileVisitor* const visitor_;
    bool stopped_ = false;
    KtbString error_;
};

}  // namespace ktwt

#endif
