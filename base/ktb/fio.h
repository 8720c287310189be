// The portable file layer: files opened by path, read and written through one buffer each.
//
// Results:   an int is 0 on success, else an error code of this layer, whose text np_fio_errdesc gives.
// Paths:     NUL-terminated bytes of at most np_path_max - 1; path buffers of callers have np_path_max bytes.
// Buffering: bytes put are buffered and reach the file when the buffer moves, on np_fio_bufmode(handle, 0) and on close. A get
//            sees what was put before through the same handle, never what another handle still buffers.
// Failure:   a write that failed is remembered by its handle: every later put transfers nothing, and np_fio_bufmode,
//            np_fio_trunc and np_fio_close report the first such code.
// Threads:   one thread at a time per handle; different handles are independent.
// Safety:    only regular files are opened, a symbolic link in the last place of a path is refused and not followed, and
//            no handle is inherited by a program that this process starts. A call interrupted by a signal is continued.
#ifndef KTB_FIO_H
#define KTB_FIO_H

#include "ktb/export.h"

typedef struct np_file np_file;

typedef struct np_status64 {
    long size;  // bytes
} np_status64;

// Open modes. No mode creates a file.
enum {
    np_mode_read = 1,
    np_mode_update = 2,  // read and write
    np_mode_append = 3   // read and write of an existing header; differs from np_mode_update in name only
};

enum { np_from_start = 0, np_from_current = 1, np_from_end = 2 };

enum { np_path_max = 4096 };

// Error codes: our own, never an errno. Stable: callers may store them, so never renumber.
enum {
    np_ok = 0,
    np_err_failed = 1,        // an error that has no code of its own here
    np_err_access = 2,        // permission denied
    np_err_no_such_file = 3,  // also when a directory on the way to the file does not exist
    np_err_exists = 4,
    np_err_not_directory = 5,  // something on the way to the file is not a directory
    np_err_is_directory = 6,
    np_err_not_regular = 7,     // a link, device, pipe or socket
    np_err_too_many_files = 8,  // this process or the system has no handle left
    np_err_no_space = 9,        // no space, or over the quota
    np_err_too_large = 10,      // over the largest size of a file
    np_err_read_only = 11,      // a read-only file system, or a put through a read-only handle
    np_err_io = 12,             // the device failed
    np_err_memory = 13,
    np_err_name = 14,     // an empty or too long path or name
    np_err_invalid = 15,  // an argument that no file has, such as a position before the start
    np_err_busy = 16,
    np_err_end = 17  // one past the last code
};

extern "C" {

// The character that separates directories in a directory list: ':'.
extern KTB_API const char np_dir_listsep;

// Opens an existing regular file at its start. On success *file is a handle to be ended with np_fio_close, else null.
KTB_API int np_fio_open(const char* path, int mode, np_file** file);

// Creates a file for reading and writing in `directory`, readable and writable by its owner only, whatever the umask. Its name
// is `prefix` and letters and digits that hold 100 random bits. Puts the full path into `path`. An existing file is never
// opened. An empty `directory` is np_err_name. On failure *file is null and nothing was created.
KTB_API int np_fio_tmpfile(const char* directory, const char* prefix, char* path, unsigned long pathSize, np_file** file);

// Puts the system's directory for temporary files into `buffer`: the environment variable TMPDIR when it is not empty, else
// /tmp.
KTB_API int np_fio_tmpdir(char* buffer, unsigned long size);

// Splits a path at its last '/': "/a/b" gives "/a" and "b", "/b" gives "/" and "b", "b" gives "" and "b". A path that is empty
// or ends in '/' is np_err_name, and so is a part that does not fit its buffer.
KTB_API int np_fio_pparse(const char* path, char* directory, unsigned long directorySize, char* name, unsigned long nameSize);

// Joins a directory and a name with exactly one '/' between them; an empty directory gives the name alone. np_err_name when the
// result does not fit.
KTB_API int np_fio_pcat(const char* directory, const char* name, char* path, unsigned long size);

// Transfer up to `size` bytes at the current position and advance it. Return the count transferred: fewer than asked for
// means the end of the file or a failure, never an interruption.
KTB_API unsigned long np_fio_getb(np_file* file, void* buffer, unsigned long size);
KTB_API unsigned long np_fio_putb(np_file* file, const void* buffer, unsigned long size);

// Lend the buffer itself, to callers who take a row apart or put one together without a call per field. *size is the number of
// bytes lent, which is 0 whenever a transfer would do I/O or the handle has nothing to lend: np_fio_getb and np_fio_putb are
// then the way on. What is lent lives until the next call for the same handle. np_fio_view lends the bytes at the current
// position; np_fio_seek64 from np_from_current takes as many as were used. np_fio_room lends room for bytes at the current
// position; np_fio_fill puts the first `size` bytes of it, which must not be more than were lent.
// np_fio_view_before tells how many bytes before the current position that view also covers, for callers who go backwards.
KTB_API const unsigned char* np_fio_view(np_file* file, unsigned long* size);
KTB_API unsigned long np_fio_view_before(np_file* file);
KTB_API unsigned char* np_fio_room(np_file* file, unsigned long* size);
KTB_API void np_fio_fill(np_file* file, unsigned long size);

// Moves the current position to `offset` bytes from `origin` (np_from_start, _current, _end). Returns the new position from the
// start; negative, with the position unchanged, when it would lie before the start or overflow or the size cannot be
// found. A position beyond the end is allowed: a get there transfers nothing, a put leaves a gap of zeros. Never does I/O,
// except that np_from_end asks for the file's size.
KTB_API long np_fio_seek64(np_file* file, long offset, int origin);

// Finds out about a file without opening it. A symbolic link is np_err_not_regular; a directory np_err_is_directory.
KTB_API int np_fio_stat64(const char* path, np_status64* status);

// Cuts off the file at the current position (or extends it with zeros), buffered bytes included.
KTB_API int np_fio_trunc(np_file* file);

// With mode 0 writes out what is buffered. Buffering goes on afterwards: with one buffer per handle, switched-off and
// flushed-after-use cannot be told apart by a caller, and the latter stays fast. Other modes are np_err_invalid.
KTB_API int np_fio_bufmode(np_file* file, int mode);

// Writes out what is buffered, closes the file and frees the handle, also when a failure is reported. Null is ignored.
KTB_API int np_fio_close(np_file* file);

KTB_API int np_fio_unlink(const char* path);

// Advisory locks, by which processes tell each other that a file is in use. They end with the handle, and so with the process
// that has it, however it ends; only a child of fork that inherited the handle keeps one longer. Reads and writes of those who
// do not ask are not hindered.
//
// np_fio_hold says that this handle's user needs the file. Any number of handles may hold a file. np_err_busy when somebody has
// seized it; with `patient` other than 0 that is answered only after waiting for some seconds, since who seizes a file soon
// lets go of it. np_err_no_such_file when the file has lost its name: what is held would vanish with the handle. On a file
// system without locks a hold counts as made.
//
// np_fio_seize claims a file that nobody holds or has seized, to look at it undisturbed and perhaps to remove it. np_err_busy
// when somebody does; np_err_no_such_file as above; np_err_access when the file is another user's. Fails on a file system
// without locks: nobody could know there that the file is not in use. The handle must be one that can write.
KTB_API int np_fio_hold(np_file* file, int patient);
KTB_API int np_fio_seize(np_file* file);

// Is told the name of a file; anything but 0 ends the listing.
typedef int (*np_name_visitor)(void* context, const char* name);

// Tells the names of what is in a directory, files and others, in no order, without "." and "..". What comes or goes meanwhile
// may be told or not. Returns what the visitor returned when that was not 0.
KTB_API int np_fio_list(const char* directory, np_name_visitor visitor, void* context);

// The text of an error code of this layer, static; null when the code is none of them.
KTB_API const char* np_fio_errdesc(int code);
}

#endif
