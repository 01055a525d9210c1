// The texts of status codes.
#ifndef PLATFORM_SYSERR_H
#define PLATFORM_SYSERR_H

#ifdef __cplusplus
extern "C" {
#endif

// The text of a status, for people; never null. A status without a text of its own gets one that holds its number, in a
// buffer that the next call on the same thread overwrites.
const char *syserr2str(int code);

// The same with the status in front, as logs want it: "0x40190001 (no such VSAN)". The buffer is valid until the next
// call on the same thread.
const char *syserr_format(int code);

#ifdef __cplusplus
}
#endif

#endif
