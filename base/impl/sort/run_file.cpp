#include "sort/run_file.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "sort/chunk_sum.h"
#include "sort/row_record.h"

namespace {

constexpr std::size_t nextBytes = sizeof(ChunkId);
constexpr std::size_t sumBytes = sizeof(std::uint64_t);
static_assert(nextBytes + sumBytes == run_file::trailerBytes);

}  // namespace

bool RunWriter::prepare(std::size_t chunkBytes) {
    payloadMax_ = chunkBytes - run_file::trailerBytes;
    chunk_.reset(new (std::nothrow) unsigned char[chunkBytes]);
    return chunk_ != nullptr;
}

bool RunWriter::begin() {
    filled_ = 0;
    place_ = store_.reserve();
    run_ = {.firstChunk = place_};
    return place_ != noChunk;
}

bool RunWriter::put(const unsigned char* record) {
    const std::size_t bytes = RowRecord::bytes(record);
    if (bytes <= payloadMax_ - filled_) {
        std::memcpy(chunk_.get() + filled_, record, bytes);
        filled_ += bytes;
    } else if (!putSplit(record, bytes)) {
        return false;
    }
    ++run_.rows;
    run_.bytes += bytes;
    run_.recordBytesMax = std::max(run_.recordBytesMax, bytes);
    return true;
}

bool RunWriter::putSplit(const unsigned char* bytes, std::size_t count) {
    while (count > 0) {
        if (filled_ == payloadMax_) {
            const ChunkId next = store_.reserve();
            if (next == noChunk || !writeChunk(next)) return false;
            place_ = next;
        }
        const std::size_t step = std::min(count, payloadMax_ - filled_);
        std::memcpy(chunk_.get() + filled_, bytes, step);
        filled_ += step;
        bytes += step;
        count -= step;
    }
    return true;
}

bool RunWriter::writeChunk(ChunkId next) {
    std::memcpy(chunk_.get() + filled_, &next, nextBytes);
    const std::uint64_t sum = chunkSum(chunk_.get(), filled_ + nextBytes);
    std::memcpy(chunk_.get() + filled_ + nextBytes, &sum, sumBytes);
    const std::size_t bytes = filled_ + run_file::trailerBytes;
    filled_ = 0;
    return store_.write(place_, chunk_.get(), bytes);
}

bool RunWriter::finish(Run* run) {
    if (!writeChunk(noChunk)) return false;
    *run = run_;
    return true;
}

bool RunReader::open(ChunkStore& store, const Run& run, std::size_t chunkBytes) {
    store_ = &store;
    recordBytesMax_ = run.recordBytesMax;
    payloadMax_ = chunkBytes - run_file::trailerBytes;
    bytesToRead_ = run.bytes;
    nextChunk_ = run.firstChunk;
    buffer_.reset(new (std::nothrow) unsigned char[bufferBytesFor(run, chunkBytes)]);
    at_ = end_ = buffer_.get();
    return buffer_ != nullptr;
}

bool RunReader::next(const unsigned char** record) {
    *record = nullptr;
    if (left() == 0 && bytesToRead_ == 0) return true;
    if (left() < RowRecord::headBytes && !readUntil(RowRecord::headBytes)) return false;
    const std::size_t bytes = RowRecord::bytes(at_);
    if (left() < bytes && !readUntil(bytes)) return false;
    *record = at_;
    at_ += bytes;
    return true;
}

// Less than one record is left over, so that a whole chunk always finds room behind it.
bool RunReader::readUntil(std::size_t bytes) {
    std::memmove(buffer_.get(), at_, left());
    end_ = buffer_.get() + left();
    at_ = buffer_.get();
    while (left() < bytes) {
        if (!readChunk()) return false;
    }
    return true;
}

bool RunReader::readChunk() {
    const auto payload = static_cast<std::size_t>(std::min<std::uint64_t>(bytesToRead_, payloadMax_));
    const ChunkId chunk = nextChunk_;
    if (!store_->read(chunk, end_, payload + run_file::trailerBytes)) return false;
    std::uint64_t sum;
    std::memcpy(&sum, end_ + payload + nextBytes, sumBytes);
    if (sum != chunkSum(end_, payload + nextBytes)) return store_->failReading(chunk);
    std::memcpy(&nextChunk_, end_ + payload, nextBytes);
    store_->release(chunk);
    end_ += payload;
    bytesToRead_ -= payload;
    return true;
}

std::unique_ptr<RunMerge> RunMerge::make(const RowOrder& order, ChunkStore& store, const Run* runs, std::size_t count,
                                         std::size_t chunkBytes) {
    std::unique_ptr<RunMerge> merge(new (std::nothrow) RunMerge(order));
    if (!merge || !merge->prepare(count)) return nullptr;
    merge->readers_.reset(new (std::nothrow) RunReader[count]);
    if (!merge->readers_) return nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        if (!merge->readers_[i].open(store, runs[i], chunkBytes)) return nullptr;
    }
    return merge;
}

bool RunMerge::advance(std::size_t source, RowEntry* entry) {
    const unsigned char* record = nullptr;
    if (!readers_[source].next(&record)) return false;
    *entry = record != nullptr ? RowEntry{RowRecord::prefix(record), record} : RowEntry{~0UL, nullptr};
    return true;
}
