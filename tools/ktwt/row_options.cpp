#include "row_options.h"

void addTable(CLI::App& app, RowChoice* choice) {
    app.add_option("TABLE", choice->table, "The table, or a URI that chooses rows and columns of it")->required();
}

void addColumnsAndRows(CLI::App& app, RowChoice* choice) {
    const auto readColumns = [choice](const std::string& text) {
        const std::string wrong = parseColumnList(text, &choice->columns);
        if (!wrong.empty()) throw CLI::ValidationError("--columns", wrong);
    };
    const auto readRows = [choice](const std::string& text) {
        const std::string wrong = parseRowRange(text, &choice->rows.emplace());
        if (!wrong.empty()) throw CLI::ValidationError("--rows", wrong);
    };
    app.add_option_function<std::string>("--columns", readColumns,
                                         "Show these columns, in this order; NAME=COLUMN shows one under another name; a '\\' "
                                         "before a ',', '=' or '\\' of a name")
        ->type_name("COLUMN,...");
    app.add_option_function<std::string>("--rows", readRows,
                                         "Show so many rows from the row FIRST on, which is 0 for the first "
                                         "of all; without COUNT all to the end")
        ->type_name("FIRST,COUNT");
}

void addConstants(CLI::App& app, RowChoice* choice) {
    const auto readConstants = [choice](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const std::string wrong = parseConstant(text, &choice->constants.emplace_back());
            if (!wrong.empty()) throw CLI::ValidationError("--constant", wrong);
        }
    };
    constexpr char what[] =
        "NAME:TYPE=TEXT adds a column with this value in every row, after the others; without TEXT a null. May be given more "
        "than once";
    app.add_option_function<std::vector<std::string>>("--constant", readConstants, what)
        ->type_name("CONSTANT")
        ->allow_extra_args(false);
}
