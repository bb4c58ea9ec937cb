/** @file
 * libVornBoxEncrypt: opens the enciphered picture backup of the previous platform.
 */
#ifndef PLATFORM_VORN_BOX_ENCRYPT_H
#define PLATFORM_VORN_BOX_ENCRYPT_H

#ifdef __cplusplus
extern "C" {
#endif

/** @return the size in bytes of an enciphered file, 0 when it is missing or empty */
long vb_get_file_size(const char* path);

/** Deciphers a file into a buffer of its own.
 * @param buffer  receives the buffer, to be released with vb_free_buffer()
 * @param length  receives the number of bytes in the buffer
 * @param path    the enciphered file
 * @param option  always 0
 * @return 0 on success
 */
int vb_import_buf(unsigned char** buffer, int* length, const char* path, int option);

/** Releases a buffer that vb_import_buf() made. */
void vb_free_buffer(unsigned char* buffer);

#ifdef __cplusplus
}
#endif

#endif
