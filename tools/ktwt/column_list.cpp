#include "column_list.h"

namespace {

bool isAt(const std::string& text, std::size_t place, char mark) { return place < text.size() && text[place] == mark; }

// Whether the text is a value of the type. An empty one is a null of any.
bool converts(const std::string& text, ktbType type) {
    KtbDatavar value;
    value.assign(text.c_str());
    value.setType(type);
    return text.empty() || !value.isNull();
}

}  // namespace

std::string nextName(const std::string& text, const char* marks, std::size_t* place) {
    const std::string_view ends = marks;
    std::string name;
    for (; *place < text.size() && ends.find(text[*place]) == std::string_view::npos; ++*place) {
        if (text[*place] == '\\' && *place + 1 < text.size()) ++*place;
        name += text[*place];
    }
    return name;
}

std::string parseType(const std::string& text, ktbType* type) {
    if (ktbTypeFromString(text.c_str(), type) && *type != ktbTypeNone) return {};
    return "\"" + text + "\" is no type; there are boolean, integer, decimal, string, date and double";
}

bool isSameName(const std::string& a, const std::string& b) { return KtbString(a.c_str()).compare(b.c_str(), false) == 0; }

std::string parseColumnList(const std::string& text, std::vector<ChosenColumn>* columns) {
    columns->clear();
    for (std::size_t place = 0;; ++place) {
        ChosenColumn column;
        column.name = nextName(text, ",=", &place);
        column.source = isAt(text, place, '=') ? nextName(text, ",", &++place) : column.name;
        if (column.name.empty() || column.source.empty()) return "the name of a column is missing in \"" + text + "\"";
        columns->push_back(std::move(column));
        if (place >= text.size()) return {};
    }
}

std::string parseConstant(const std::string& text, ConstantColumn* constant) {
    std::size_t place = 0;
    constant->name = nextName(text, ":", &place);
    const std::size_t equals = text.find('=', place);
    if (constant->name.empty() || place == text.size() || equals == std::string::npos) {
        return "\"" + text + "\" is not of the form NAME:TYPE=TEXT";
    }
    const std::string type = text.substr(place + 1, equals - place - 1);
    constant->text = text.substr(equals + 1);
    if (std::string wrong = parseType(type, &constant->type); !wrong.empty()) return wrong;
    if (converts(constant->text, constant->type)) return {};
    return "\"" + constant->text + "\" is no " + ktbTypeToString(constant->type);
}
