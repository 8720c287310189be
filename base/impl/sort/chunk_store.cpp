#include "sort/chunk_store.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>

#include "file/file.h"
#include "ktb/sort.h"

namespace {

constexpr unsigned slotBits = 48;
constexpr std::size_t filesMax = 0xffff;  // so that index + 1 fits the other bits of an id
constexpr std::uint64_t wordBits = 64;

// Makes room for one more item. Growth doubles; when memory is exhausted everything stays as it was.
template <class Item>
bool makeRoom(std::unique_ptr<Item[]>* items, std::size_t count, std::size_t* capacity) {
    if (count < *capacity) return true;
    const std::size_t larger = std::max<std::size_t>(8, *capacity * 2);
    std::unique_ptr<Item[]> block(new (std::nothrow) Item[larger]);
    if (!block) return false;
    std::copy_n(items->get(), count, block.get());
    *items = std::move(block);
    *capacity = larger;
    return true;
}

KtbString reasonFor(int code) {
    const char* text = np_fio_errdesc(code);
    return text != nullptr ? KtbString(text, true) : ktbStringFormat("error %d", code);
}

}  // namespace

// Whether there is a free slot among those that are noted.
bool ChunkStore::SlotMap::findLowest() {
    while (lowest_ < count_ && words_[lowest_] == ~std::uint64_t{0}) ++lowest_;
    return lowest_ < count_;
}

void ChunkStore::SlotMap::takeLowest(std::uint64_t* slot) {
    const int bit = std::countr_one(words_[lowest_]);
    words_[lowest_] |= std::uint64_t{1} << bit;
    *slot = lowest_ * wordBits + static_cast<unsigned>(bit);
}

bool ChunkStore::SlotMap::take(std::uint64_t* slot) {
    if (!findLowest()) {
        if (!makeRoom(&words_, count_, &capacity_)) return false;
        words_[count_++] = 0;
    }
    takeLowest(slot);
    return true;
}

bool ChunkStore::SlotMap::takeBelow(std::uint64_t end, std::uint64_t* slot) {
    if (!findLowest()) return false;
    if (lowest_ * wordBits + static_cast<unsigned>(std::countr_one(words_[lowest_])) >= end) return false;
    takeLowest(slot);
    return true;
}

void ChunkStore::SlotMap::free(std::uint64_t slot) {
    const std::size_t word = slot / wordBits;
    const std::uint64_t mask = std::uint64_t{1} << slot % wordBits;
    assert(word < count_ && (words_[word] & mask) != 0);
    words_[word] &= ~mask;
    lowest_ = std::min(lowest_, word);
}

bool ChunkStore::setDirectories(const KtbString& list) {
    assert(fileCount_ == 0);
    if (list.cStrSize() > 1) return splitList(list.asCstr());
    // One directory, whatever its name holds: it is no list.
    char directory[np_path_max];
    if (const int code = np_fio_tmpdir(directory, sizeof directory)) return failWithoutDirectory(code);
    return copyList(directory) && makeFiles(1);
}

// Copies the list and cuts the copy where the separators are.
bool ChunkStore::splitList(const char* list) {
    if (!copyList(list)) return false;
    const std::size_t length = std::strlen(list);
    std::replace(directories_.get(), directories_.get() + length, np_dir_listsep, '\0');
    const auto separators = static_cast<std::size_t>(std::count(list, list + length, np_dir_listsep));
    return makeFiles(separators + (list[length - 1] == np_dir_listsep ? 0 : 1));
}

bool ChunkStore::copyList(const char* list) {
    const std::size_t bytes = std::strlen(list) + 1;
    directories_.reset(new (std::nothrow) char[bytes]);
    if (!directories_) return failForMemory();
    std::memcpy(directories_.get(), list, bytes);
    return true;
}

// Deals the directories out, of which there are `count` one after the other. None of the files is on disk yet.
bool ChunkStore::makeFiles(std::size_t count) {
    if (count > filesMax) return fail(KtbString("There are more than 65535 work directories.", true));
    files_.reset(new (std::nothrow) WorkFile[count]);
    if (!files_) return failForMemory();
    const char* directory = directories_.get();
    for (std::size_t i = 0; i < count; ++i, directory += std::strlen(directory) + 1) files_[i].directory = directory;
    fileCount_ = count;
    return true;
}

ChunkId ChunkStore::reserve() {
    Place place;
    return reservePlace(&place) ? idOf(place) : noChunk;
}

// The slots that chunks have left in files that grow no more.
bool ChunkStore::reserveFreed(Place* place) {
    for (place->file = 0; place->file < current_; ++place->file) {
        WorkFile& file = files_[place->file];
        if (file.slots.takeBelow(file.end, &place->slot)) return true;
    }
    return false;
}

bool ChunkStore::reservePlace(Place* place) {
    if (reserveFreed(place)) return true;
    if (!findFile()) return false;
    place->file = current_;
    return files_[current_].slots.take(&place->slot) || failForMemory();
}

// Makes sure that the current file is there, and passes over the directories where it cannot be made.
bool ChunkStore::findFile() {
    while (current_ < fileCount_ && !files_[current_].handle) {
        const int code = makeFile(&files_[current_]);
        if (code != np_ok) giveUp({current_, 0}, code);
    }
    return current_ < fileCount_ || failForDirectories();
}

int ChunkStore::makeFile(WorkFile* file) {
    char path[np_path_max];
    np_file* made = nullptr;
    if (const int code = np_fio_tmpfile(file->directory, ktSortFilePrefix, path, sizeof path, &made)) return code;
    file->handle.reset(made);
    made->setBufferSizes(1, 1);
    np_fio_hold(made, 0);  // so that nobody counts the file as left over; one who did, and took its name, spares us the work
    const int code = np_fio_unlink(path);
    if (code == np_ok || code == np_err_no_such_file) return np_ok;
    // Some disks remove no file that is open. One that would outlive this process when it crashes is not used.
    file->handle.reset();
    np_fio_unlink(path);  // nothing better can be done should this fail as well
    return code;
}

// The file has refused to take a chunk there. If it was growing it has its slots before that one left, else none.
void ChunkStore::giveUp(Place place, int code) {
    const bool wasGrowing = place.file == current_;
    files_[place.file].end = wasGrowing ? place.slot : 0;
    lastCode_ = code;
    if (wasGrowing) ++current_;
}

// Places behind the end of a file that grows no more were reserved when it still did.
bool ChunkStore::isClosedTo(Place place) const { return place.file < current_ && place.slot >= files_[place.file].end; }

bool ChunkStore::write(ChunkId id, const void* bytes, unsigned long size) {
    assert(size <= chunkBytes_);
    Place place = placeOf(id);
    while (isClosedTo(place) || !writeAt(place, bytes, size)) {
        if (!moveChunk(id, &place)) return false;
    }
    bytesWritten_ += static_cast<long>(size);
    return true;
}

// Writes to a place, or gives its file up.
bool ChunkStore::writeAt(Place place, const void* bytes, unsigned long size) {
    np_file* file = files_[place.file].handle.get();
    if (!seek(place)) {
        giveUp(place, np_err_too_large);
        return false;
    }
    if (np_fio_putb(file, bytes, size) == size) return true;
    const int code = np_fio_bufmode(file, 0);  // there is nothing buffered: this asks for what has been remembered
    file->forgetFailure();
    giveUp(place, code != np_ok ? code : np_err_failed);
    return false;
}

// Reserves another place for a chunk that its file did not take.
bool ChunkStore::moveChunk(ChunkId id, Place* place) {
    if (!reservePlace(place)) return false;
    if (noteMove(id, *place)) return true;
    files_[place->file].slots.free(place->slot);
    return failForMemory();
}

bool ChunkStore::noteMove(ChunkId id, Place place) {
    if (Move* known = findMove(id)) {
        known->place = place;
        return true;
    }
    if (!makeRoom(&moves_, moveCount_, &moveCapacity_)) return false;
    moves_[moveCount_++] = {id, place};
    return true;
}

bool ChunkStore::read(ChunkId id, void* bytes, unsigned long size) {
    const Place place = placeOf(id);
    if (seek(place) && np_fio_getb(files_[place.file].handle.get(), bytes, size) == size) return true;
    return failReading(id);
}

bool ChunkStore::failReading(ChunkId id) {
    return fail(ktbStringFormat("Sorted rows could not be read back from \"%s\".", files_[placeOf(id).file].directory));
}

// Returns false where the file layer has no such position.
bool ChunkStore::seek(Place place) {
    long offset = 0;
    if (__builtin_mul_overflow(place.slot, chunkBytes_, &offset)) return false;
    return np_fio_seek64(files_[place.file].handle.get(), offset, np_from_start) == offset;
}

void ChunkStore::release(ChunkId id) {
    const Place place = placeOf(id);
    files_[place.file].slots.free(place.slot);
    if (Move* known = findMove(id)) *known = moves_[--moveCount_];
}

ChunkId ChunkStore::idOf(Place place) { return (place.file + 1) << slotBits | place.slot; }

ChunkStore::Place ChunkStore::placeOf(ChunkId id) const {
    assert(id != noChunk && id >> slotBits <= fileCount_);
    const Move* known = findMove(id);
    if (known != nullptr) return known->place;
    return {static_cast<std::size_t>(id >> slotBits) - 1, id & ((std::uint64_t{1} << slotBits) - 1)};
}

ChunkStore::Move* ChunkStore::findMove(ChunkId id) const {
    Move* const end = moves_.get() + moveCount_;
    Move* const found = std::find_if(moves_.get(), end, [id](const Move& move) { return move.id == id; });
    return found != end ? found : nullptr;
}

bool ChunkStore::fail(const KtbString& text) {
    if (error_.cStrSize() > 1) return false;
    error_ = text;
    if (error_.cStrSize() == 1) failForMemory();  // there was none for the text
    return false;
}

bool ChunkStore::failForMemory() {
    return fail(KtbString("Memory is exhausted: no room for the places of sorted rows on disk.", true));
}

bool ChunkStore::failForDirectories() {
    if (fileCount_ == 0) return fail(KtbString("There is no work directory for sorted rows.", true));
    return fail(ktbStringFormat("No work directory takes more sorted rows. The last one, \"%s\", gave: %s.",
                                files_[fileCount_ - 1].directory, reasonFor(lastCode_).asCstr()));
}

bool ChunkStore::failWithoutDirectory(int code) {
    return fail(ktbStringFormat("The directory for temporary files cannot be told: %s.", reasonFor(code).asCstr()));
}
