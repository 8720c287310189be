// SortManager: the settings and the declared columns, from which sorts are made.
#ifndef KTB_IMPL_SORT_SORT_MANAGER_H
#define KTB_IMPL_SORT_SORT_MANAGER_H

#include <memory>

#include "ktb/sort.h"

class SortManager final : public KtDatafileManager {
public:
    SortManager() = default;
    SortManager(const SortManager&) = delete;
    SortManager& operator=(const SortManager&) = delete;
    ~SortManager() = default;

    // Takes over the work directories. Returns false when memory is exhausted.
    [[nodiscard]] bool setDirectories(const KtbString& list);

    bool setChunkSize(unsigned long bytes) override;
    bool setSortMarkByGroups(bool on) override;
    bool setSortNoCodeGen(bool on) override;
    bool setSortNoDups(bool on) override;
    bool setSortProcessors(int processors) override;
    bool setSortRecords(unsigned long records) override;
    bool setSortSize(unsigned long bytes) override;
    bool setSortStable(bool on) override;
    void getSettings(KtDatafileSortSettings* settings) override;
    KtDatafileRowSort* createSort(unsigned long options) override;
    void forgetColumns() override;
    KtbString getError() override;
    void release() override;
    bool declareColumn(int position, ktbType type, int width) override;
    bool declareColumns(int count) override;

private:
    bool fail(KtbString text);

    KtDatafileSortSettings settings_ = {.chunkBytes = 256UL * 1024,
                                        .budget = 256UL * 1024 * 1024,
                                        .records = 0,
                                        .processors = 0,
                                        .markByGroups = false,
                                        .noCodeGen = false,
                                        .noDups = false,
                                        .stable = false};
    KtbString directories_;
    int columnCount_ = 0;
    std::unique_ptr<ktbType[]> types_;
    KtbString error_;
};

#endif
