/** @file
 * The micom, the TV's stand-by controller.
 */
#ifndef PLATFORM_MICOM_H
#define PLATFORM_MICOM_H

#ifdef __cplusplus
extern "C" {
#endif

/** Asks whether the SerDes link to the box has locked.
 * @param status  receives 1 when it has
 * @return not to be relied on
 */
int micom_check_serdes_lock(int* status);

/** Reads the MAC address that the TV-side micom keeps.
 * @param mac  receives 6 bytes
 * @return a negative value on failure
 */
int micom_get_tv_side_mac_addr(unsigned char* mac);

#ifdef __cplusplus
}
#endif

#endif
