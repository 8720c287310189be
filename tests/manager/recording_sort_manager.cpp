#include "recording_sort_manager.h"

#include <sstream>

SortRecord& sortRecord() {
    static SortRecord record;
    return record;
}

namespace {

template <class... Words>
std::string textOf(const std::string& name, Words... words) {
    std::ostringstream text;
    text << name;
    ((text << ' ' << words), ...);
    return text.str();
}

// What managers and sorts have in common: they take down their calls and keep the text of the one that failed.
class Recorder {
protected:
    // Whether the call succeeds.
    bool take(const std::string& call) {
        SortRecord& record = sortRecord();
        record.calls.push_back(call);
        const bool fails = call.rfind(record.failing, 0) == 0 && record.failingAfter-- == 0;
        if (fails) error_ = record.silent ? "" : ("refused: " + call).c_str();
        return !fails;
    }

    int status(const std::string& call) { return take(call) ? 0 : ktSortFailed; }

    KtbString error_;
};

class ReversingSort final : public KtDatafileRowSort, Recorder {
public:
    explicit ReversingSort(std::size_t columns) : slots_(columns) { ++sortRecord().sortsAlive; }

    int setSort(int index, int column, bool descending, KTSortCollateParms* parms) override {
        sortRecord().parms.push_back(parms);
        return status(textOf("setSort", index, column, descending));
    }
    int setSortInfo(KtDatafileSortInfo* info) override {
        sortRecord().info = info;
        return status("setSortInfo");
    }
    int setSortProgress(KtDatafileSortProgress* progress) override {
        sortRecord().progress = progress;
        return status("setSortProgress");
    }
    int setSortKeys(int count) override { return status(textOf("setSortKeys", count)); }

    KtbDatavar* columnSlot(int column) override {
        return take(textOf("columnSlot", column)) ? &slots_.at(static_cast<std::size_t>(column)) : nullptr;
    }

    int addRow() override {
        std::string row;
        for (const KtbDatavar& value : slots_) {
            row += row.empty() ? "" : ",";
            row += value.isNull() ? "-" : value.asString().asCstr();
        }
        if (!take("addRow " + row)) return ktSortFailed;
        rows_.push_back(slots_);
        return 0;
    }

    int finish() override { return status("finish"); }
    KtbString getError() override { return error_; }
    int firstRow() override { return take("firstRow") ? here() : ktSortFailed; }

    int nextRow() override {
        if (!take("nextRow")) return ktSortFailed;
        rows_.pop_back();
        return here();
    }

    KtbDatavar* columnValue(int column) override {
        return take(textOf("columnValue", column)) ? &rows_.back().at(static_cast<std::size_t>(column)) : nullptr;
    }

    void release() override {
        take("sort released");
        --sortRecord().sortsAlive;
        delete this;
    }

    bool startsGroup() override { return false; }

private:
    int here() const { return rows_.empty() ? sortRecord().endStatus : ktSortRow; }

    std::vector<KtbDatavar> slots_;
    std::vector<std::vector<KtbDatavar>> rows_;
};

class RecordingSortManager final : public KtDatafileManager, Recorder {
public:
    bool setChunkSize(unsigned long bytes) override { return takeSetting("setChunkSize", bytes); }
    bool setSortMarkByGroups(bool on) override { return takeSetting("setSortMarkByGroups", on); }
    bool setSortNoCodeGen(bool on) override { return takeSetting("setSortNoCodeGen", on); }
    bool setSortNoDups(bool on) override { return takeSetting("setSortNoDups", on); }
    bool setSortProcessors(int processors) override { return takeSetting("setSortProcessors", processors); }
    bool setSortRecords(unsigned long records) override { return takeSetting("setSortRecords", records); }
    bool setSortSize(unsigned long bytes) override { return takeSetting("setSortSize", bytes); }
    bool setSortStable(bool on) override { return takeSetting("setSortStable", on); }
    void getSettings(KtDatafileSortSettings* settings) override { *settings = {}; }

    KtDatafileRowSort* createSort(unsigned long options) override {
        std::ostringstream hex;
        hex << std::hex << options;
        return take("createSort " + hex.str()) ? new ReversingSort(static_cast<std::size_t>(columns_)) : nullptr;
    }

    void forgetColumns() override {
        take("forgetColumns");
        columns_ = 0;
    }

    KtbString getError() override { return error_; }

    void release() override {
        take("released");
        --sortRecord().alive;
        delete this;
    }

    bool declareColumn(int position, ktbType type, int width) override {
        return take(textOf("declareColumn", position, type, width));
    }

    bool declareColumns(int count) override {
        columns_ = count;
        return take(textOf("declareColumns", count));
    }

private:
    template <class Argument>
    bool takeSetting(const std::string& name, Argument argument) {
        const std::string call = textOf(name, argument);
        const bool taken = take(call) && !sortRecord().refuseSettings;
        if (sortRecord().refuseSettings) error_ = ("refused: " + call).c_str();
        return taken;
    }

    int columns_ = 0;
};

}  // namespace

KtDatafileManager* ktDatafileManagerCreate(const KtbString& directoryList, KtbString* error) {
    sortRecord().calls.push_back(std::string("created ") + directoryList.asCstr());
    if (sortRecord().refuseCreation) {
        *error = "no sort manager today";
        return nullptr;
    }
    ++sortRecord().alive;
    return new RecordingSortManager;
}
