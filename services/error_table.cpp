// SPDX-License-Identifier: MIT
// The stock error table: the library's 131 codes, the errno of each, and
// for each a group of formats. Variant n of a code is the n-th row of its
// group; the head row carries the group's size. The rows are written by the
// service (their tree links) while the table is added, so the table is not
// const.
#include <array>
#include <cerrno>

#include "error_table.hpp"

namespace vesk::svc {
namespace {

// errno names this C library lacks keep the numbers of the systems that have
// them, so that every code still answers a distinct, recognisable value.
constexpr int32_t kEAUTH = 80;
constexpr int32_t kENEEDAUTH = 81;
constexpr int32_t kEPROCLIM = 67;

constexpr auto kRows = std::to_array<VeskErrEntry>({
    // 0x0101
    {257, E2BIG, "The argument list is too long.", 4, {}},
    {257, E2BIG, "%s: an argument list is too long.", 0, {}},
    {257, E2BIG, "%s(%s): an argument list is too long.", 0, {}},
    {257, E2BIG, "%s:%s(%s): an argument list is too long.", 0, {}},
    // 0x0102
    {258, EFAULT, "The argument points outside an allocated address space of the process.", 4, {}},
    {258, EFAULT, "%s: the argument points outside an allocated address space of the process.", 0, {}},
    {258, EFAULT, "%s(%s): the argument points outside an allocated address space of the process.", 0, {}},
    {258, EFAULT, "%s:%s(%s): the argument points outside an allocated address space of the process.", 0, {}},
    // 0x0103
    {259, EINVAL, "Invalid argument.", 4, {}},
    {259, EINVAL, "%s: invalid argument.", 0, {}},
    {259, EINVAL, "%s(%s): invalid argument.", 0, {}},
    {259, EINVAL, "%s:%s(%s): invalid argument.", 0, {}},
    // 0x0104
    {260, EINVAL, "The string is empty or NUL pointer.", 4, {}},
    {260, EINVAL, "%s: the string is empty or NUL pointer.", 0, {}},
    {260, EINVAL, "%s(%s): the string is empty or NUL pointer.", 0, {}},
    {260, EINVAL, "%s:%s(%s): the string is empty or NUL pointer.", 0, {}},
    // 0x0105
    {261, EOVERFLOW, "The buffer is too small.", 4, {}},
    {261, EOVERFLOW, "%s: the buffer is too small.", 0, {}},
    {261, EOVERFLOW, "%s(%s): the buffer is too small.", 0, {}},
    {261, EOVERFLOW, "%s:%s(%s): the buffer is too small.", 0, {}},
    // 0x0201
    {513, EPERM, "Operation not permitted.\nProcess has not appropriate privileges to access a resource.", 3, {}},
    {513, EPERM, "%s: operation not permitted.\nProcess has not appropriate privileges to access a resource.", 0, {}},
    {513, EPERM, "%s(%s, %s): operation not permitted.\nProcess has not appropriate privileges to access a resource.", 0, {}},
    // 0x0202
    {514, EACCES, "Access rights violation.", 3, {}},
    {514, EACCES, "%s: access rights violation.", 0, {}},
    {514, EACCES, "%s:%s: access rights violation.", 0, {}},
    // 0x0203
    {515, EDEADLK, "An attempt to lock the resource that would have resulted in a deadlock situation.", 4, {}},
    {515, EDEADLK, "%s: an attempt to lock the resource that would have resulted in a deadlock situation.", 0, {}},
    {515, EDEADLK, "%s:%s: an attempt to lock the resource that would have resulted in a deadlock situation.", 0, {}},
    {515, EDEADLK, "%s:%s:%s: an attempt to lock the resource that would have resulted in a deadlock situation.", 0, {}},
    // 0x0204
    {516, EWOULDBLOCK, "The resource temporarily unavailable.", 8, {}},
    {516, EWOULDBLOCK, "%s: resource temporarily unavailable.", 0, {}},
    {516, EWOULDBLOCK, "%s:%s: resource temporarily unavailable.", 0, {}},
    {516, EWOULDBLOCK, "%s:%s:%s: resource temporarily unavailable.", 0, {}},
    {516, EWOULDBLOCK, "The resource temporarily unavailable, operation would block.", 0, {}},
    {516, EWOULDBLOCK, "%s: resource temporarily unavailable, operation would block.", 0, {}},
    {516, EWOULDBLOCK, "%s:%s: resource temporarily unavailable, operation would block.", 0, {}},
    {516, EWOULDBLOCK, "%s:%s:%s: resource temporarily unavailable, operation would block.", 0, {}},
    // 0x0205
    {517, EBUSY, "The resource is used [by another process] in a conflicting manner.", 4, {}},
    {517, EBUSY, "%s: resource is used [by another process] in a conflicting manner.", 0, {}},
    {517, EBUSY, "%s:%s: resource is used [by another process] in a conflicting manner.", 0, {}},
    {517, EBUSY, "%s:%s:%s: resource is used [by another process] in a conflicting manner.", 0, {}},
    // 0x0206
    {518, ENXIO, "The resource not ready to use or no such resource.", 7, {}},
    {518, ENXIO, "%s: resource not ready to use or no such resource.", 0, {}},
    {518, ENXIO, "%s:%s: resource not ready to use or no such resource.", 0, {}},
    {518, ENXIO, "%s:%s:%s: resource not ready to use or no such resource.", 0, {}},
    {518, ENXIO, "%d: resource not ready to use or no such resource.", 0, {}},
    {518, ENXIO, "%s:%d: resource not ready to use or no such resource.", 0, {}},
    {518, ENXIO, "%s:%s:%d: resource not ready to use or no such resource.", 0, {}},
    // 0x0207
    {519, EAGAIN, "No resource available.", 7, {}},
    {519, EAGAIN, "%s: no resource available.", 0, {}},
    {519, EAGAIN, "%s:%s: no resource available.", 0, {}},
    {519, EAGAIN, "%s:%s:%s: no resource available.", 0, {}},
    {519, EAGAIN, "%d: no resource available.", 0, {}},
    {519, EAGAIN, "%s:%d: no resource available.", 0, {}},
    {519, EAGAIN, "%s:%s:%d: no resource available.", 0, {}},
    // 0x0301
    {769, EINVAL, "The object is in the invalid state.", 2, {}},
    {769, EINVAL, "%s: the object is in the invalid state.", 0, {}},
    // 0x0302
    {770, ENXIO, "The object not ready to be used.", 7, {}},
    {770, ENXIO, "{%s}: the object not ready to be used.", 0, {}},
    {770, ENXIO, "%s{%s}: the object not ready to be used.", 0, {}},
    {770, ENXIO, "%s:%s{%s}: the object not ready to be used.", 0, {}},
    {770, ENXIO, "{%d}: the object not ready to be used.", 0, {}},
    {770, ENXIO, "%s{%d}: the object not ready to be used.", 0, {}},
    {770, ENXIO, "%s:%s{%d}: the object not ready to be used.", 0, {}},
    // 0x0303
    {771, EINVAL, "A wrong [object] state to perform operation.", 9, {}},
    {771, EINVAL, "{%s}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "{%s:%s}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "%s{%s:%s}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "%s:%s{%s:%s}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "{%d}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "{%d:%d}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "%s{%d:%d}: wrong [object] state to perform operation.", 0, {}},
    {771, EINVAL, "%s:%s{%d:%d}: wrong [object] state to perform operation.", 0, {}},
    // 0x0304
    {772, EALREADY, "The object already in the state.", 9, {}},
    {772, EALREADY, "{%s}: the object already in the state.", 0, {}},
    {772, EALREADY, "{%s:%s}: the object already in the state.", 0, {}},
    {772, EALREADY, "%s{%s:%s}: the object already in the state.", 0, {}},
    {772, EALREADY, "%s:%s{%s:%s}: the object already in the state.", 0, {}},
    {772, EALREADY, "{%d}: the object already in the state.", 0, {}},
    {772, EALREADY, "{%d:%d}: the object already in the state.", 0, {}},
    {772, EALREADY, "%s{%d:%d}: the object already in the state.", 0, {}},
    {772, EALREADY, "%s:%s{%d:%d}: the object already in the state.", 0, {}},
    // 0x0305
    {773, EINVAL, "An operation can be only performed in destructive manner,\nwhen the object is in that state.", 9, {}},
    {773, EINVAL, "{%s}: an operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "{%s:%s}: an operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "%s{%s:%s}: the operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "%s:%s{%s:%s}: the operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "{%d}: an operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "{%d:%d}: an operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "%s{%d:%d}: the operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    {773, EINVAL, "%s:%s{%d:%d}: the operation can be only performed in destructive manner,\nwhen the object is in that state.", 0, {}},
    // 0x0401
    {1025, ENODEV, "Inappropriate operation.", 7, {}},
    {1025, ENODEV, "{%d}: inappropriate operation.", 0, {}},
    {1025, ENODEV, "%d{%d}: inappropriate operation.", 0, {}},
    {1025, ENODEV, "{%s}: inappropriate operation.", 0, {}},
    {1025, ENODEV, "%s{%s}: inappropriate operation.", 0, {}},
    {1025, ENODEV, "%d{%s}: inappropriate operation.", 0, {}},
    {1025, ENODEV, "%s{%d}: inappropriate operation.", 0, {}},
    // 0x0402
    {1026, ENOSYS, "The function (operation) not implemented [in this implementation].", 2, {}},
    {1026, ENOSYS, "%s: function (operation) not implemented [in this implementation].", 0, {}},
    // 0x0403
    {1027, ENODEV, "Inappropriate operation to the [device] implementation.", 7, {}},
    {1027, ENODEV, "{%d}: inappropriate operation to the [device] implementation.", 0, {}},
    {1027, ENODEV, "%d{%d}: inappropriate operation to the [device] implementation.", 0, {}},
    {1027, ENODEV, "{%s}: inappropriate operation to the [device] implementation.", 0, {}},
    {1027, ENODEV, "%s{%s}: inappropriate operation to the [device] implementation.", 0, {}},
    {1027, ENODEV, "%d{%s}: inappropriate operation to the [device] implementation.", 0, {}},
    {1027, ENODEV, "%s{%d}: inappropriate operation to the [device] implementation.", 0, {}},
    // 0x0404
    {1028, EOPNOTSUPP, "The implementation does not support the operation [of the standard].", 7, {}},
    {1028, EOPNOTSUPP, "%d: implementation does not support the operation [of the standard].", 0, {}},
    {1028, EOPNOTSUPP, "%d:%d: implementation does not support the operation [of the standard].", 0, {}},
    {1028, EOPNOTSUPP, "%s: implementation does not support the operation [of the standard].", 0, {}},
    {1028, EOPNOTSUPP, "%s:%s: implementation does not support the operation [of the standard].", 0, {}},
    {1028, EOPNOTSUPP, "%s:%d: implementation does not support the operation [of the standard].", 0, {}},
    {1028, EOPNOTSUPP, "%d:%s: implementation does not support the operation [of the standard].", 0, {}},
    // 0x0405
    {1029, ENOTSUP, "The implementation does not support the feature [of the standard].", 7, {}},
    {1029, ENOTSUP, "<%d>: implementation does not support the feature [of the standard].", 0, {}},
    {1029, ENOTSUP, "%d<%d>: implementation does not support the feature [of the standard].", 0, {}},
    {1029, ENOTSUP, "%d:%d<%d>: implementation does not support the feature [of the standard].", 0, {}},
    {1029, ENOTSUP, "%s: implementation does not support the feature [of the standard].", 0, {}},
    {1029, ENOTSUP, "%s<%s>: implementation does not support the feature [of the standard].", 0, {}},
    {1029, ENOTSUP, "%s:%s<%s>: implementation does not support the feature [of the standard].", 0, {}},
    // 0x0406
    {1030, EINPROGRESS, "The blocking operation now in progress,\n[the asynchronous operation has not yet completed].", 3, {}},
    {1030, EINPROGRESS, "%s: blocking operation now in progress,\n[the asynchronous operation has not yet completed].", 0, {}},
    {1030, EINPROGRESS, "%s:%s: blocking operation now in progress,\n[the asynchronous operation has not yet completed].", 0, {}},
    // 0x0407
    {1031, EALREADY, "The operation [on non-blocking device] already in progress.", 3, {}},
    {1031, EALREADY, "%s: operation [on non-blocking device] already in progress.", 0, {}},
    {1031, EALREADY, "%s:%s: operation [on non-blocking device] already in progress.", 0, {}},
    // 0x0408
    {1032, ECANCELED, "The asynchronous operation was cancelled before completion.", 3, {}},
    {1032, ECANCELED, "%s: asynchronous operation was cancelled before completion.", 0, {}},
    {1032, ECANCELED, "%s:%s: asynchronous operation was cancelled before completion.", 0, {}},
    // 0x0409
    {1033, EINTR, "The execution of an interruptible function was interrupted by\nan asynchronous signal (such as quit or terminate signal).", 3, {}},
    {1033, EINTR, "%s: execution of an interruptible function was interrupted by\nan asynchronous signal (such as quit or terminate signal).", 0, {}},
    {1033, EINTR, "%s:%s: execution of an interruptible function was interrupted by\nan asynchronous signal (such as quit or terminate signal).", 0, {}},
    // 0x040a
    {1034, ETIMEDOUT, "The operation timed out.", 3, {}},
    {1034, ETIMEDOUT, "%s: operation timed out.", 0, {}},
    {1034, ETIMEDOUT, "%s:%s: operation timed out.", 0, {}},
    // 0x040b
    {1035, EINVAL, "Unwilling to perform operation.", 3, {}},
    {1035, EINVAL, "%s: unwilling to perform operation.", 0, {}},
    {1035, EINVAL, "%s{%s}: unwilling to perform operation.", 0, {}},
    // 0x040c
    {1036, ENODEV, "Inappropriate operation in some circumstances.\n%s.", 7, {}},
    {1036, ENODEV, "{%d}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    {1036, ENODEV, "%d{%d}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    {1036, ENODEV, "{%s}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    {1036, ENODEV, "%s{%s}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    {1036, ENODEV, "%d{%s}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    {1036, ENODEV, "%s{%d}: inappropriate operation in some circumstances.\n%s.", 0, {}},
    // 0x040d
    {1037, EOPNOTSUPP, "Unsupported operation [of the standard] in some circumstances.\n%s.", 7, {}},
    {1037, EOPNOTSUPP, "%d: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    {1037, EOPNOTSUPP, "%d:%d: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    {1037, EOPNOTSUPP, "%s: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    {1037, EOPNOTSUPP, "%s:%s: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    {1037, EOPNOTSUPP, "%d:%s: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    {1037, EOPNOTSUPP, "%s:%d: unsupported operation [of the standard] in some circumstances.\n%s.", 0, {}},
    // 0x0501
    {1281, EILSEQ, "Illegal multibyte sequence.", 1, {}},
    // 0x0502
    {1282, EILSEQ, "Incomplete multibyte sequence.", 1, {}},
    // 0x0503
    {1283, EILSEQ, "Bad UNICODE character.", 1, {}},
    // 0x0504
    {1284, EOVERFLOW, "Buffer for a multibyte character is too small.", 1, {}},
    // 0x0505
    {1285, EINVAL, "The token is too long.", 2, {}},
    {1285, EINVAL, "%s: token too long.", 0, {}},
    // 0x0506
    {1286, EINVAL, "A syntax error.", 2, {}},
    {1286, EINVAL, "%s: <# %s #> syntax error.", 0, {}},
    // 0x0507
    {1287, EINVAL, "Syntax error: end of text reached.", 2, {}},
    {1287, EINVAL, "<# %s #> syntax error: end of text reached.", 0, {}},
    // 0x0508
    {1288, EINVAL, "Syntax error: unmatched character.", 2, {}},
    {1288, EINVAL, "%s: <# %s #> syntax error: unmatched character '%c'.", 0, {}},
    // 0x0509
    {1289, EINVAL, "Syntax error: required token is empty.", 2, {}},
    {1289, EINVAL, "<# %s #> syntax error: required token '%s' empty.", 0, {}},
    // 0x050a
    {1290, EINVAL, "Syntax error: unexpected token.", 3, {}},
    {1290, EINVAL, "%s: <# %s #> syntax error: unexpected token.", 0, {}},
    {1290, EINVAL, "%s: <# %s #> syntax error: unexpected token '%s'.", 0, {}},
    // 0x050b
    {1291, EINVAL, "Syntax error: missing token.", 3, {}},
    {1291, EINVAL, "%s: <# %s #> syntax error: missing token.", 0, {}},
    {1291, EINVAL, "%s: <# %s #> syntax error: missing token '%s'.", 0, {}},
    // 0x050c
    {1292, EINVAL, "Syntax error: bad token.", 3, {}},
    {1292, EINVAL, "%s: <# %s #> syntax error: bad token.", 0, {}},
    {1292, EINVAL, "%s: <# %s #> syntax error: bad token '%s'.", 0, {}},
    // 0x0601
    {1537, kEAUTH, "Authentication runtime error.", 3, {}},
    {1537, kEAUTH, "%s: authentication runtime error.", 0, {}},
    {1537, kEAUTH, "%s:%s: authentication runtime error.", 0, {}},
    // 0x0602
    {1538, kENEEDAUTH, "Need authenticator.", 3, {}},
    {1538, kENEEDAUTH, "%s: need authenticator.", 0, {}},
    {1538, kENEEDAUTH, "%s:%s: need authenticator.", 0, {}},
    // 0x0701
    {1793, EDOM, "The numerical argument out of domain.", 3, {}},
    {1793, EDOM, "%s(): numerical argument out of domain.", 0, {}},
    {1793, EDOM, "%s:%s(): numerical argument out of domain.", 0, {}},
    // 0x0702
    {1794, ERANGE, "The result is too large or too small.", 3, {}},
    {1794, ERANGE, "%s(): result too large or too small.", 0, {}},
    {1794, ERANGE, "%s:%s(): result too large or too small.", 0, {}},
    // 0x8001
    {32769, EINVAL, "System runtime error.", 3, {}},
    {32769, EINVAL, "%d: runtime error.", 0, {}},
    {32769, EINVAL, "%s: runtime error.", 0, {}},
    // 0x8002
    {32770, ESRCH, "No such process.", 3, {}},
    {32770, ESRCH, "%d: no such process.", 0, {}},
    {32770, ESRCH, "%s: no such process.", 0, {}},
    // 0x8003
    {32771, ENOEXEC, "The file is not in the format required by the implementation for executable files.", 2, {}},
    {32771, ENOEXEC, "%s: the file is not in the format required by the implementation for executable files.", 0, {}},
    // 0x8004
    {32772, ECHILD, "No child processes to wait.", 1, {}},
    // 0x8005
    {32773, ENOMEM, "Can not perform local memory allocation.", 4, {}},
    {32773, ENOMEM, "%s: operation failure: can not perform local memory allocation.", 0, {}},
    {32773, ENOMEM, "%s: fail to create an object: can not perform local memory allocation.", 0, {}},
    {32773, ENOMEM, "%s: fail to duplicate a string: can not perform local memory allocation.", 0, {}},
    // 0x8006
    {32774, kEPROCLIM, "Too many processes.", 1, {}},
    // 0x8007
    {32775, EUSERS, "Too many users.", 1, {}},
    // 0x8008
    {32776, EDQUOT, "Disc quota exceeded.", 1, {}},
    // 0x8101
    {33025, EIO, "[Physical] input/output runtime error.", 2, {}},
    {33025, EIO, "%d: [physical] input/output runtime error.", 0, {}},
    // 0x8102
    {33026, ENXIO, "Device not configured, no such device or address.", 2, {}},
    {33026, ENXIO, "{%s}: device not configured, no such device or address.", 0, {}},
    // 0x8103
    {33027, ENOTBLK, "Block device required.", 2, {}},
    {33027, ENOTBLK, "%s: block device required.", 0, {}},
    // 0x8104
    {33028, ESPIPE, "Illegal seek operation on a stream(file), which does not support the seek operation.", 3, {}},
    {33028, ESPIPE, "{%s}: illegal seek operation on a device, which does not support the seek operation.", 0, {}},
    {33028, ESPIPE, "%s{%s}: illegal seek operation on a device, which does not support the seek operation.", 0, {}},
    // 0x8105
    {33029, ENOTBLK, "Not supported device.", 3, {}},
    {33029, ENOTBLK, "{%s}: not supported device.", 0, {}},
    {33029, ENOTBLK, "%s: {%s} device(s) required.", 0, {}},
    // 0x8106
    {33030, ENOSPC, "No free ports available.", 2, {}},
    {33030, ENOSPC, "{%s}: no free ports available.", 0, {}},
    // 0x8201
    {33281, ENOENT, "No such file or directory.", 4, {}},
    {33281, ENOENT, "%s: no such file or directory.", 0, {}},
    {33281, ENOENT, "%s: the named file or directory not found.", 0, {}},
    {33281, ENOENT, "%s: the named file or directory not found in the search paths:\n%s\n", 0, {}},
    // 0x8202
    {33282, EBADF, "The file descriptor is out of range, referres to no open file.", 2, {}},
    {33282, EBADF, "%d: the file descriptor is out of range, referres to no open file.", 0, {}},
    // 0x8203
    {33283, EBUSY, "Mount device busy.", 2, {}},
    {33283, EBUSY, "%s: mount device busy.", 0, {}},
    // 0x8204
    {33284, EEXIST, "The file or directory already exists.", 2, {}},
    {33284, EEXIST, "%s: the named file or directory already exists.", 0, {}},
    // 0x8205
    {33285, EXDEV, "Cross-device link.", 1, {}},
    // 0x8206
    {33286, ENODEV, "The inappropriate function to the [device] implementation.", 3, {}},
    {33286, ENODEV, "%s: inappropriate operation to the [device] implementation.", 0, {}},
    {33286, ENODEV, "%s:%s: inappropriate operation to a device implementation.", 0, {}},
    // 0x8207
    {33287, ENOTDIR, "A component of the path is not a directory.", 2, {}},
    {33287, ENOTDIR, "%s: a component of the path is not a directory.", 0, {}},
    // 0x8208
    {33288, EISDIR, "A component of the path is a directory.", 2, {}},
    {33288, EISDIR, "%s: a component of the path is a directory.", 0, {}},
    // 0x8209
    {33289, ENFILE, "Too many open files in system. File table overflow.", 1, {}},
    // 0x820a
    {33290, EMFILE, "Too many open files. (Maximum number of file descriptors allowed in this process).", 1, {}},
    // 0x820b
    {33291, ENOTTY, "Inappropriate [I/O] control function for a file or special file.", 2, {}},
    {33291, ENOTTY, "%d: inappropriate [I/O] control function for a file or special file.", 0, {}},
    // 0x820c
    {33292, ETXTBSY, "A text file busy.", 2, {}},
    {33292, ETXTBSY, "%s: the text file busy.", 0, {}},
    // 0x820d
    {33293, EFBIG, "A file too large.", 2, {}},
    {33293, EFBIG, "%s: the file too large.", 0, {}},
    // 0x820e
    {33294, ENOSPC, "No free space left on the device during a 'write' operation\non a regular file, or when extending a directory. Or there are no\nfree inodes [to use] on the file system.", 1, {}},
    // 0x820f
    {33295, ESPIPE, "Illegal seek operation on a pipe or FIFO.", 1, {}},
    // 0x8210
    {33296, EROFS, "The named file resides on a read-only file system.", 2, {}},
    {33296, EROFS, "%s: the named file resides on a read-only file system.", 0, {}},
    // 0x8211
    {33297, EMLINK, "Too many links of a single file.", 1, {}},
    // 0x8212
    {33298, ELOOP, "Too many symbolic links were encountered in translating the pathname.", 2, {}},
    {33298, ELOOP, "%s: too many symbolic links were encountered in translating the pathname.", 0, {}},
    // 0x8213
    {33299, ENAMETOOLONG, "A file name [path component] exceeded {NAME_MAX} characters.", 4, {}},
    {33299, ENAMETOOLONG, "%s: a file name [path component] exceeded {NAME_MAX} characters.", 0, {}},
    {33299, ENAMETOOLONG, "A file path exceeded {PATH_MAX} characters, or path component exceeded {NAME_MAX} characters.", 0, {}},
    {33299, ENAMETOOLONG, "%s: a file path exceeded {PATH_MAX} characters, or path component exceeded {NAME_MAX} characters.", 0, {}},
    // 0x8214
    {33300, ENOTEMPTY, "A directory not empty.", 2, {}},
    {33300, ENOTEMPTY, "%s: the directory not empty.", 0, {}},
    // 0x8215
    {33301, ENOLCK, "No locks available.", 1, {}},
    // 0x8301
    {33537, ENOTSOCK, "Socket operation on a non-socket. Socket required.", 4, {}},
    {33537, ENOTSOCK, "%s: socket operation on a non-socket. Socket required.", 0, {}},
    {33537, ENOTSOCK, "%d:%s: socket operation on a non-socket. Socket required.", 0, {}},
    {33537, ENOTSOCK, "%s:%s: socket operation on a non-socket. Socket required.", 0, {}},
    // 0x8302
    {33538, EDESTADDRREQ, "Destination address required.", 1, {}},
    // 0x8303
    {33539, EMSGSIZE, "Message too long.", 1, {}},
    // 0x8304
    {33540, EPROTOTYPE, "Protocol wrong type for socket.", 1, {}},
    // 0x8305
    {33541, ENOPROTOOPT, "Protocol not available.", 1, {}},
    // 0x8306
    {33542, EPROTONOSUPPORT, "Protocol not supported.", 2, {}},
    {33542, EPROTONOSUPPORT, "%s: protocol not supported.", 0, {}},
    // 0x8307
    {33543, ESOCKTNOSUPPORT, "Socket type not supported.", 2, {}},
    {33543, ESOCKTNOSUPPORT, "%s: socket type not supported.", 0, {}},
    // 0x8308
    {33544, EOPNOTSUPP, "Operation not supported on socket.", 2, {}},
    {33544, EOPNOTSUPP, "%s: operation not supported on socket.", 0, {}},
    // 0x8309
    {33545, EPFNOSUPPORT, "Protocol family not supported.", 2, {}},
    {33545, EPFNOSUPPORT, "%d: protocol family not supported.", 0, {}},
    // 0x830a
    {33546, EAFNOSUPPORT, "Address family not supported by protocol family.", 2, {}},
    {33546, EAFNOSUPPORT, "%d{%d}: address family not supported by protocol family.", 0, {}},
    // 0x830b
    {33547, EADDRINUSE, "Address already in use.", 1, {}},
    // 0x830c
    {33548, EADDRNOTAVAIL, "Cannot assign requested address.", 1, {}},
    // 0x830d
    {33549, ENETDOWN, "Network is down. There is a serious failure of network system.", 1, {}},
    // 0x830e
    {33550, ENETUNREACH, "Network is unreachable.", 1, {}},
    // 0x830f
    {33551, ENETRESET, "Network dropped connection on reset.", 1, {}},
    // 0x8310
    {33552, ECONNABORTED, "Software caused connection abort.", 1, {}},
    // 0x8311
    {33553, ECONNRESET, "Connection reset by peer.", 1, {}},
    // 0x8312
    {33554, ENOBUFS, "No internal buffer space available.", 1, {}},
    // 0x8313
    {33555, EISCONN, "Socket already connected.", 1, {}},
    // 0x8314
    {33556, ENOTCONN, "Socket not connected.", 1, {}},
    // 0x8315
    {33557, ESHUTDOWN, "Cannot send after socket shutdown.", 1, {}},
    // 0x8316
    {33558, ECONNREFUSED, "Connection refused.", 1, {}},
    // 0x8317
    {33559, EHOSTDOWN, "Host is down.", 1, {}},
    // 0x8318
    {33560, EHOSTUNREACH, "No route to host.", 1, {}},
    // 0x8319
    {33561, EPIPE, "Broken pipe.", 1, {}},
    // 0x831a
    {33562, EBADMSG, "An implementation detects a corrupted message.", 1, {}},
    // 0xc011
    {49169, EINVAL, "A name invalid syntax.", 2, {}},
    {49169, EINVAL, "%s: name invalid syntax.", 0, {}},
    // 0xc012
    {49170, ENOENT, "The name does not match the name of any entry.", 3, {}},
    {49170, ENOENT, "%d: name does not match the name of any entry.", 0, {}},
    {49170, ENOENT, "%s: name does not match the name of any entry.", 0, {}},
    // 0xc013
    {49171, ENAMETOOLONG, "The entry name is too long.", 2, {}},
    {49171, ENAMETOOLONG, "%s: entry name too long.", 0, {}},
    // 0xc021
    {49185, EINVAL, "Attribute invalid syntax.", 2, {}},
    {49185, EINVAL, "%s: attribute invalid syntax.", 0, {}},
    // 0xc022
    {49186, ENOENT, "The name does not match the name of any attribute.", 3, {}},
    {49186, ENOENT, "%s: name does not match the name of any attribute.", 0, {}},
    {49186, ENOENT, "%s,%s: (name,value) does not match the (name,value) of any attribute.", 0, {}},
    // 0xc023
    {49187, EEXIST, "The attribute with such name already exists in the entry.", 2, {}},
    {49187, EEXIST, "%s: attribute with such name already exists in the entry.", 0, {}},
    // 0xc031
    {49201, EEXIST, "The entry already exists.", 3, {}},
    {49201, EEXIST, "%s: such entry already exists.", 0, {}},
    {49201, EEXIST, "The entry, pointed to by the parameter '%s', already exists.", 0, {}},
    // 0xc032
    {49202, ENOENT, "No such parent entry.", 2, {}},
    {49202, ENOENT, "%s: no such parent entry.", 0, {}},
    // 0xc033
    {49203, ENODEV, "Operation not allowed on the entry.", 5, {}},
    {49203, ENODEV, "{%d}: operation not allowed on the entry.", 0, {}},
    {49203, ENODEV, "%d{%d}: operation not allowed on the entry.", 0, {}},
    {49203, ENODEV, "{%s}: operation not allowed on the entry.", 0, {}},
    {49203, ENODEV, "%s{%s}: operation not allowed on the entry.", 0, {}},
    // 0xc034
    {49204, EISDIR, "The entry is compound.", 2, {}},
    {49204, EISDIR, "%s: entry is compound.", 0, {}},
    // 0xc035
    {49205, ENOTDIR, "The entry not compound.", 2, {}},
    {49205, ENOTDIR, "%s: entry not compound.", 0, {}},
    // 0xc036
    {49206, EINVAL, "The compound entry is empty.", 2, {}},
    {49206, EINVAL, "%s: compound entry is empty.", 0, {}},
    // 0xc037
    {49207, ENOTEMPTY, "The compound entry not empty.", 2, {}},
    {49207, ENOTEMPTY, "%s: compound entry not empty.", 0, {}},
    // 0xc038
    {49208, EINVAL, "The compound entry overflow.", 2, {}},
    {49208, EINVAL, "%s: compound entry overflow.", 0, {}},
    // 0xc039
    {49209, EINVAL, "The entry is already inserted into a some tree.", 3, {}},
    {49209, EINVAL, "%s: entry is already inserted into a some tree.", 0, {}},
    {49209, EINVAL, "%s: entry is already inserted into a some tree with parent entry: '%s'.", 0, {}},
    // 0xc03a
    {49210, EINVAL, "The entry not inserted into the any tree.", 2, {}},
    {49210, EINVAL, "%s: entry not inserted into the any tree.", 0, {}},
    // 0xc03b
    {49211, EINVAL, "The entry is already mounted.", 2, {}},
    {49211, EINVAL, "%s: entry is already mounted to the mountpoint '%s'.", 0, {}},
    // 0xc03c
    {49212, EINVAL, "The entry is not mounted or not a mountpoint.", 2, {}},
    {49212, EINVAL, "%s: entry not mounted or not a mountpoint.", 0, {}},
    // 0xc03d
    {49213, ENOTSUP, "The implementation does not support multiple mount.", 2, {}},
    {49213, ENOTSUP, "%s: implementation does not support multiple mount.", 0, {}},
    // 0xc03e
    {49214, ENODEV, "Mount operation on the object that can not be a mountpoint.", 2, {}},
    {49214, ENODEV, "%s: mount operation on the object that can not be a mountpoint.", 0, {}},
    // 0xc03f
    {49215, ENODEV, "Mount operation on the object that can not be a mountable.", 2, {}},
    {49215, ENODEV, "%s: mount operation on the object that can not be a mountable.", 0, {}},
    // 0xc041
    {49217, EINVAL, "Service runtime error.", 3, {}},
    {49217, EINVAL, "%d: service runtime error.", 0, {}},
    {49217, EINVAL, "%s: service runtime error.", 0, {}},
    // 0xc042
    {49218, EBUSY, "The object is presently too busy to perform a requested operation.", 4, {}},
    {49218, EBUSY, "{%s}: object is presently too busy to perform a requested operation.", 0, {}},
    {49218, EBUSY, "%s{%d}: object is presently too busy to perform a requested operation.", 0, {}},
    {49218, EBUSY, "%s{%s}: object is presently too busy to perform a requested operation.", 0, {}},
    // 0xc043
    {49219, ENAMETOOLONG, "Too many levels of [hierarchical] structure.", 1, {}},
    {VESK_ERR_TABLE_END, 0, nullptr, 0, {}},
});

#define VESK_CODE_NUMBER_(name, number) (number),
constexpr uint32_t kListedCodes[] = {VESK_CODE_MAP(VESK_CODE_NUMBER_)};
#undef VESK_CODE_NUMBER_

// The table holds exactly the listed codes, in the list's order, each as one
// group of `count` rows that share code and errno, and then its end row.
consteval bool groups_follow_code_list() {
    size_t row = 0;
    for (const uint32_t code : kListedCodes) {
        const VeskErrEntry &head = kRows[row];
        if (head.code != code || head.count == 0 || row + head.count >= kRows.size()) {
            return false;
        }
        for (uint32_t i = 1; i < head.count; ++i) {
            const VeskErrEntry &member = kRows[row + i];
            if (member.code != code || member.unixerr != head.unixerr || member.count != 0) {
                return false;
            }
        }
        row += head.count;
    }
    return row == kStockErrorRows && kRows[row].code == VESK_ERR_TABLE_END;
}
static_assert(groups_follow_code_list(), "the stock table and VESK_CODE_MAP differ");

}  // namespace

constinit std::array<VeskErrEntry, kStockErrorRows + 1> stock_error_table = kRows;

}  // namespace vesk::svc
