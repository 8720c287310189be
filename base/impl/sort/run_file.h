// Runs: sorted rows on disk.
//
// A run is a chain of chunks in a ChunkStore. A chunk is as many bytes of records as fit, one after the other and over the
// chunks' borders, then the next chunk's place (8 bytes, 0 in the last) and a sum over all of it (8 bytes). The last chunk is
// as long as it has to be. Nothing is kept in memory per chunk, so that a run may be of any length, and a chunk's place is free
// again as soon as it has been read. What is read back must have the sum that was written, so that nobody behind the reader has
// to ask whether a record is in order.
//
//     chunk 3    | record | record | rec~  | -> 8 | sum |
//     chunk 8    | ~ord | record | record  | -> 5 | sum |
//     chunk 5    | record | record | 0 | sum |
#ifndef KTB_IMPL_SORT_RUN_FILE_H
#define KTB_IMPL_SORT_RUN_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "sort/byte_buffer.h"
#include "sort/chunk_store.h"
#include "sort/row_merge.h"

struct Run {
    ChunkId firstChunk = noChunk;
    std::uint64_t bytes = 0;  // of records
    long rows = 0;
    std::size_t recordBytesMax = 0;
    int merges = 0;  // how often its rows have been merged from other runs
};

namespace run_file {
inline constexpr std::size_t trailerBytes = 16;
}

class RunWriter {
public:
    explicit RunWriter(ChunkStore& store) : store_(store) {}

    // Makes the buffer for chunks of this size. Returns false when memory is exhausted.
    [[nodiscard]] bool prepare(std::size_t chunkBytes);

    // Each returns false when the disk takes no more; the store knows why.
    [[nodiscard]] bool begin();
    [[nodiscard]] bool put(const unsigned char* record);
    [[nodiscard]] bool finish(Run* run);

    std::size_t bufferBytes() const { return chunk_ ? payloadMax_ + run_file::trailerBytes : 0; }
    void free() { chunk_.reset(); }

private:
    bool putSplit(const unsigned char* bytes, std::size_t count);
    bool writeChunk(ChunkId next);

    ChunkStore& store_;
    std::unique_ptr<unsigned char[]> chunk_;
    std::size_t payloadMax_ = 0;
    std::size_t filled_ = 0;
    ChunkId place_ = noChunk;  // of the chunk that is being filled
    Run run_;
};

class RunReader {
public:
    // The memory that reading the run takes.
    static std::size_t bytesFor(const Run& run, std::size_t chunkBytes) {
        return bufferBytesFor(run, chunkBytes) + sizeof(RunReader) + sizeof(Run) + RowMerge::bytesPerSource;
    }

    // Begins before the first row. Returns false when memory is exhausted.
    [[nodiscard]] bool open(ChunkStore& store, const Run& run, std::size_t chunkBytes);

    // Gives the next row's record, null when there are no more; it lives until the next call. Returns false when it cannot be
    // read back.
    [[nodiscard]] bool next(const unsigned char** record);

private:
    static std::size_t bufferBytesFor(const Run& run, std::size_t chunkBytes) { return run.recordBytesMax + chunkBytes; }
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
    bool readUntil(std::size_t bytes);
    bool readChunk();

    ChunkStore* store_ = nullptr;
    std::unique_ptr<unsigned char[]> buffer_;
    unsigned char* at_ = nullptr;  // the record that comes next, as far as it has been read
    unsigned char* end_ = nullptr;
    std::size_t recordBytesMax_ = 0;
    std::size_t payloadMax_ = 0;
    std::uint64_t bytesToRead_ = 0;
    ChunkId nextChunk_ = noChunk;
};

// Runs on disk as sources.
class RunMerge : public RowMerge {
public:
    // Merges `count` runs, whose chunks are free again when they have been read. Returns null when memory is exhausted.
    static std::unique_ptr<RunMerge> make(const RowOrder& order, ChunkStore& store, const Run* runs, std::size_t count,
                                          std::size_t chunkBytes);

private:
    explicit RunMerge(const RowOrder& order) : RowMerge(order) {}
    bool advance(std::size_t source, RowEntry* entry) override;

    std::unique_ptr<RunReader[]> readers_;
};

#endif
