#include "recording_sort_manager.h"

#include "ktb/sort.h"

SortRecord& sortRecord() {
    static SortRecord record;
    return record;
}

namespace {

class RecordingSortManager final : public KtDatafileManager {
public:
    bool setChunkSize(unsigned long bytes) override { return take("setChunkSize", bytes); }
    bool setSortMarkByGroups(bool on) override { return take("setSortMarkByGroups", on); }
    bool setSortNoCodeGen(bool on) override { return take("setSortNoCodeGen", on); }
    bool setSortNoDups(bool on) override { return take("setSortNoDups", on); }
    bool setSortProcessors(int processors) override { return take("setSortProcessors", processors); }
    bool setSortRecords(unsigned long records) override { return take("setSortRecords", records); }
    bool setSortSize(unsigned long bytes) override { return take("setSortSize", bytes); }
    bool setSortStable(bool on) override { return take("setSortStable", on); }
    void getSettings(KtDatafileSortSettings* settings) override { *settings = {}; }
    KtDatafileRowSort* createSort(unsigned long) override { return nullptr; }
    void forgetColumns() override {}
    KtbString getError() override { return error_; }

    void release() override {
        sortRecord().calls.push_back("released");
        --sortRecord().alive;
        delete this;
    }

    bool declareColumn(int, ktbType, int) override { return true; }
    bool declareColumns(int) override { return true; }

private:
    template <class Argument>
    bool take(const std::string& name, Argument argument) {
        const std::string call = name + " " + std::to_string(argument);
        sortRecord().calls.push_back(call);
        if (sortRecord().refuseSettings) error_ = ("refused: " + call).c_str();
        return !sortRecord().refuseSettings;
    }

    KtbString error_;
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
