// The disk under the sort: chunks of at most a fixed size, kept in one file per work directory.
//
//     ChunkStore store;
//     store.setDirectories("/fast:/large");
//     store.setChunkBytes(262144);
//     const ChunkId id = store.reserve();
//     store.write(id, rows, size) ... store.read(id, rows, size) ... store.release(id)
//
//     /fast     file 0   [ slot 0 ][ slot 1 ][ slot 2 ]           slot i lies at i * chunkBytes
//               bitmap       1         0         1      0 0 ...   slot 1 is the next to be reserved, then slot 3
//     /large    file 1   not made yet
//
// Places:    a chunk goes to the lowest free slot of the file that is being written, so that freed places are filled again
//            before the file grows. A file that refuses a write, for whatever reason, grows no more, and the next directory's
//            file is made and takes over. What the refusing file holds can still be read, and its freed slots, which have
//            their space on the disk, are filled before any other; one that refuses even those is written no more.
// Moves:     where a chunk lies is written into its id, so that finding it takes no table. The chunk that was refused keeps its
//            id but lies elsewhere: such moves stand in a list. A caller who writes each chunk soon after reserving it makes
//            at most one entry per file; every other reservation that was still unwritten then makes one more.
// Files:     made when the first chunk needs them and unlinked at once, so that they vanish with the process however it ends.
//            Transfers go straight to the system, since chunks are larger than any buffer between.
// Memory:    one bit per slot of each file, 512 KiB for a terabyte in chunks of 256 KiB, and up to twice that since the bitmap
//            grows by doubling. A search of it begins where the lowest free slot may be, so it goes over no part again until
//            a slot below is released.
// Handles:   at most one per directory.
// Failure:   an operation returns false (noChunk), and getError() has the text of the first failure. Reading, releasing and
//            destroying are still allowed afterwards.
// Threads:   one thread at a time per store.
#ifndef KTB_IMPL_SORT_CHUNK_STORE_H
#define KTB_IMPL_SORT_CHUNK_STORE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ktb/fio.h"
#include "ktb/string.h"

// Names a reserved place: the file's index + 1 in the upper 16 bits, the slot in the lower 48.
using ChunkId = std::uint64_t;

// No place: no chunk has this id.
inline constexpr ChunkId noChunk = 0;

class ChunkStore {
public:
    ChunkStore() = default;
    ChunkStore(const ChunkStore&) = delete;
    ChunkStore& operator=(const ChunkStore&) = delete;
    // Closes the files, and with that frees what they hold on disk.
    ~ChunkStore() = default;

    // Takes over a list of directories with np_dir_listsep between them; a separator at the end adds none. An empty or null
    // list is the system's directory for temporary files. Once, before the first reserve(). Fails when memory is exhausted,
    // there are more than 65,535 directories, or the system's cannot be told; whether they exist shows when a file is to be
    // made there.
    [[nodiscard]] bool setDirectories(const KtbString& list);

    // The size of a slot, at least 1 byte. Only before the first reserve().
    void setChunkBytes(unsigned long bytes) { chunkBytes_ = bytes; }

    // Returns a place for one chunk, to be ended with release(); noChunk on failure. Does no I/O, except that it makes a file
    // when there is none that takes chunks.
    [[nodiscard]] ChunkId reserve();

    // Writes the chunk of a reserved place, at most chunkBytes bytes; once per reservation. After a failure the place holds
    // nothing but is still to be released.
    [[nodiscard]] bool write(ChunkId id, const void* bytes, unsigned long size);

    // Reads the first `size` bytes of the chunk, of which there must be as many. After a failure `bytes` holds anything.
    [[nodiscard]] bool read(ChunkId id, void* bytes, unsigned long size);

    // Fails for a caller who finds that what was read is not what was written. Returns false.
    bool failReading(ChunkId id);

    // Gives back a reserved place, written or not. The id means nothing from then on until reserve() returns it again.
    void release(ChunkId id);

    long bytesWritten() const { return bytesWritten_; }

    // The text of the first failure; empty when there was none.
    KtbString getError() const { return error_; }

private:
    // Which slots of a file are taken.
    class SlotMap {
    public:
        // Takes the lowest free slot. Returns false when there is no memory to note it.
        [[nodiscard]] bool take(std::uint64_t* slot);

        // Takes the lowest free slot below `end`. Returns false when there is none.
        [[nodiscard]] bool takeBelow(std::uint64_t end, std::uint64_t* slot);
        void free(std::uint64_t slot);

    private:
        bool findLowest();
        void takeLowest(std::uint64_t* slot);

        std::unique_ptr<std::uint64_t[]> words_;  // a set bit is a slot that is taken
        std::size_t count_ = 0;
        std::size_t capacity_ = 0;
        std::size_t lowest_ = 0;  // all words before this one are full
    };

    struct CloseFile {
        // What an unlinked file could not keep is of no interest to anybody.
        void operator()(np_file* file) const { np_fio_close(file); }
    };

    struct WorkFile {
        const char* directory = nullptr;
        std::unique_ptr<np_file, CloseFile> handle;  // null before it is made, and where it could not be made
        SlotMap slots;
        std::uint64_t end = 0;  // of a file that grows no more: the slots that it may have
    };

    struct Place {
        std::size_t file;
        std::uint64_t slot;
    };

    struct Move {
        ChunkId id;
        Place place;
    };

    static ChunkId idOf(Place place);

    bool splitList(const char* list);
    bool copyList(const char* list);
    bool makeFiles(std::size_t count);
    int makeFile(WorkFile* file);
    bool findFile();
    void giveUp(Place place, int code);
    bool isClosedTo(Place place) const;
    bool reserveFreed(Place* place);
    bool reservePlace(Place* place);
    bool moveChunk(ChunkId id, Place* place);
    bool writeAt(Place place, const void* bytes, unsigned long size);
    bool seek(Place place);
    Place placeOf(ChunkId id) const;
    Move* findMove(ChunkId id) const;
    bool noteMove(ChunkId id, Place place);
    bool fail(const KtbString& text);
    bool failForMemory();
    bool failForDirectories();
    bool failWithoutDirectory(int code);

    std::unique_ptr<char[]> directories_;  // the list, with NULs for the separators
    std::unique_ptr<WorkFile[]> files_;
    std::size_t fileCount_ = 0;
    std::size_t current_ = 0;  // the file that grows; those before it have been given up
    int lastCode_ = np_ok;     // why the last file was given up
    std::unique_ptr<Move[]> moves_;
    std::size_t moveCount_ = 0;
    std::size_t moveCapacity_ = 0;
    unsigned long chunkBytes_ = 256UL * 1024;
    long bytesWritten_ = 0;
    KtbString error_;
};

#endif
