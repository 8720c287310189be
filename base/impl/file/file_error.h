#ifndef KTB_IMPL_FILE_FILE_ERROR_H
#define KTB_IMPL_FILE_FILE_ERROR_H

// Returns the code of the file layer (ktb/fio.h) for a value of errno; never np_ok.
int fileErrorFromErrno(int number);

#endif
