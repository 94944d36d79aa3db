/*
 * md5_side.h - parts of one program that use MD5, each of another library, under the same names.
 * Each is a shared object of its own and has been linked with its library alone.
 */
#ifndef MD5_SIDE_H
#define MD5_SIDE_H

/* The number of faults: another library's function, another digest, bytes that are not its own. */
int md5_of_qldapx(void);
int md5_once_of_qldapx(void);
int md5_of_libmd(void);
int md5_of_libcrypto(void);

/* Faults of a digest of "abc", and of an address of a function that should be in that library. */
int digest_faults(const char *side, const unsigned char digest[16]);
int address_faults(const char *side, const char *library, const void *address);

/* Behind a context, so that one who takes it for a longer one is seen. */
enum { FENCE_SIZE = 64, FENCE = 0x5A };
int fence_faults(const char *side, const unsigned char fence[FENCE_SIZE]);

#endif
