#include "column_list.h"

namespace {

// The name from *place on to the next of the `marks` or the end, where *place then is.
std::string nextName(const std::string& text, const char* marks, std::size_t* place) {
    const std::string_view ends = marks;
    std::string name;
    for (; *place < text.size() && ends.find(text[*place]) == std::string_view::npos; ++*place) {
        if (text[*place] == '\\' && *place + 1 < text.size()) ++*place;
        name += text[*place];
    }
    return name;
}

bool isAt(const std::string& text, std::size_t place, char mark) { return place < text.size() && text[place] == mark; }

// Whether the text is a value of the type. An empty one is a null of any.
bool converts(const std::string& text, ktbType type) {
    KtbDatavar value;
    value.assign(text.c_str());
    value.setType(type);
    return text.empty() || !value.isNull();
}

}  // namespace

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
    if (!ktbTypeFromString(type.c_str(), &constant->type) || constant->type == ktbTypeNone) {
        return "\"" + type + "\" is no type; there are boolean, integer, decimal, string, date and double";
    }
    if (converts(constant->text, constant->type)) return {};
    return "\"" + constant->text + "\" is no " + ktbTypeToString(constant->type);
}
