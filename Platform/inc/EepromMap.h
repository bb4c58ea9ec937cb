/** @file
 * The EEPROM map of the TV: small items by id.
 */
#ifndef PLATFORM_EEPROM_MAP_H
#define PLATFORM_EEPROM_MAP_H

#ifdef __cplusplus
extern "C" {
#endif

/** Items this library uses. */
enum {
    EEPROM_ITEM_MAC = 0x1E04,       /**< 6 bytes: the TV's own MAC address */
    EEPROM_ITEM_POWER_FLAG = 0xF211 /**< 1 byte: 0xAA while a migration is in progress */
};

/** Reads an item.
 * @return the number of bytes read; each caller says how few are a failure
 */
int eeprom_read(unsigned int item, int size, unsigned char* buffer);

/** Writes an item.
 * @return the number of bytes written; each caller says how few are a failure
 */
int eeprom_write(unsigned int item, int size, const unsigned char* buffer);

/** Stores a MAC address in the item reserved for a migrated one.
 * @param mac   the address, most significant byte first
 * @param size  6
 * @return 0 on success, else an error number
 */
int eeprom_write_migrated_mac(const unsigned char* mac, int size);

#ifdef __cplusplus
}
#endif

#endif
