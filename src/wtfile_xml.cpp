// Rows as one XML document: a bean that a factory makes of the table's name, its column names and its rows, all as text.
//
//     <?xml ...?><beans ...><bean id='Table' ...>
//         <constructor-arg index='0'><value>the table's name</value></constructor-arg>
//         <constructor-arg index='1'><list><value>a column's name</value>...</list></constructor-arg>
//         <constructor-arg index='2'><list><list><value>a value</value>...</list>...</list></constructor-arg>
//     </bean></beans>
//
// all on one line, without the blanks between the elements. A row always has as many values as the table stores columns,
// whatever the reader chose to see: what he sees fills them from the first on.
#include <algorithm>
#include <new>

#include "wtfile.h"
#include "wtmessage.h"

namespace {

#define BEANS "http://www.springframework.org/schema/beans"
#define AOP "http://www.springframework.org/schema/aop"

// Up to the table's name.
constexpr char opening[] =
    "<?xml version='1.0' encoding='UTF-8'?>"
    "<beans xmlns='" BEANS "' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xmlns:aop='" AOP
    "'"
    " xsi:schemaLocation='" BEANS " " BEANS "/spring-beans-3.0.xsd " AOP " " AOP
    "/spring-aop.xsd'>"
    "<bean id='Table' factory-bean='TableFactoryBean' factory-method='createInstance'><constructor-arg index='0'><value>";

#undef BEANS
#undef AOP

// Readers that know the document by its first bytes may skip them by their number.
static_assert(sizeof opening - 1 == 549);

// What stands for the character in a value; null: the character itself.
const char* entityOf(char c) {
    switch (c) {
        case '&': return "&amp;";
        case '\'': return "&apos;";
        case '<': return "&lt;";
        default: return nullptr;
    }
}

}  // namespace

// A document that grows. After the first text that found no memory it takes no more, so that it is a beginning of the document
// that it should have become.
class KTWTXmlDocument {
public:
    explicit KTWTXmlDocument(KtbString* text) : text_(*text) {}

    bool failed() const { return failed_; }

    // Something that belongs into the document could not be had.
    void giveUp() { failed_ = true; }

    template <std::size_t size>
    void add(const char (&text)[size]) {
        add(text, text + size - 1);
    }

    void add(const KtbString& text) {
        if (!failed_) text_.append(text, &failed_);
    }

    void addEscaped(const KtbString& text) {
        const char* plain = text.asCstr();
        const char* const end = plain + text.cStrSize() - 1;
        for (const char* at = plain; at != end; ++at) {
            const char* entity = entityOf(*at);
            if (entity == nullptr) continue;
            add(plain, at);
            if (!failed_) text_.append(entity, &failed_);
            plain = at + 1;
        }
        add(plain, end);
    }

private:
    void add(const char* begin, const char* end) {
        if (!failed_ && begin != end) text_.append(begin, static_cast<int>(end - begin), &failed_);
    }

    KtbString& text_;
    bool failed_ = false;
};

namespace {

void addHeading(KTWTXmlDocument* document, const KtbString& name, const KTWTColumnDef* columns, int count) {
    document->add(opening);
    document->add(name);
    document->add("</value></constructor-arg><constructor-arg index='1'><list>");
    for (int i = 0; i < count; ++i) {
        document->add("<value>");
        document->add(columns[i].name);
        document->add("</value>");
    }
    document->add("</list></constructor-arg><constructor-arg index='2'><list>");
}

// `scratch` takes the text of a value that is none, and is kept from value to value for its memory.
void addRow(KTWTXmlDocument* document, const KtbDatavar* values, int count, KtbString* scratch) {
    document->add("<list>");
    for (int i = 0; i < count; ++i) {
        const KtbString& text = values[i].asString(scratch);
        if (text.isNull() && !values[i].isNull()) document->giveUp();
        document->add("<value>");
        document->addEscaped(text);
        document->add("</value>");
    }
    document->add("</list>");
}

// What is left of so many rows from the row `first` on, in the 32 bits that a count has here.
int rowsFrom(long rows, long first) { return static_cast<int>(static_cast<unsigned>(rows) - static_cast<unsigned>(first)); }

}  // namespace

bool KTWTFileImpl::readRows(long first, int count, KtbString* out, bool* end) {
    if (end != nullptr) *end = false;
    if (out == nullptr) return fail(KtbString("There is no text to put the rows of the work table into.", true));
    out->truncate(0);
    if (count < 0) count = rowsFrom(rows_, first);
    // A row that is read has the chosen columns, a row that is written the stored ones; what nobody fills stays null.
    const auto size = static_cast<std::size_t>(std::max(columnCount_, selectedCount_));
    const std::unique_ptr<KtbDatavar[]> values(new (std::nothrow) KtbDatavar[size]);
    if (!values) return fail(KTWT_MESSAGE(29, "(column value array)"));
    KTWTXmlDocument document(out);
    addHeading(&document, name_, columnDefs_.get(), columnCount_);
    if (!addRows(&document, values.get(), count, end)) return fail(KTWT_MESSAGE(29, "(table as XML)"));
    document.add("</list></constructor-arg></bean></beans>");
    return !document.failed() || fail(KTWT_MESSAGE(29, "(table as XML)"));
}

// Adds up to so many rows. A caller who gave a place for the end gets what there is before a row that cannot be read, whatever
// the reason; for others a missing row is a failure.
bool KTWTFileImpl::addRows(KTWTXmlDocument* document, KtbDatavar* values, int count, bool* end) {
    KtbString scratch;
    bool unseenEnd = false;
    bool* const rowEnd = end != nullptr ? end : &unseenEnd;
    for (int i = 0; i < count && !document->failed(); ++i) {
        if (!readRow(values, rowEnd)) return end != nullptr;
        addRow(document, values, columnCount_, &scratch);
    }
    return !document->failed();
}
