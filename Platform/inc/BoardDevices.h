/** @file
 * The kernel devices of the board: GPIO levels and buffer IC on the system device, the tuner frontend, the raw MAC block.
 */
#ifndef PLATFORM_BOARD_DEVICES_H
#define PLATFORM_BOARD_DEVICES_H

#include <stdint.h>

/** The block that holds the MAC backup in its first 6 bytes, most significant byte first; all 0xFF is blank. */
#define RAW_MAC_BKUP_PATH "/dev/mtdblock3"

/** The device that answers the BOARD_ requests. */
#define SYSTEM_DEVICE_PATH "/dev/system"

/** The device that answers FE_SEND_DBG_CMD. */
#define TUNER_FRONTEND_PATH "/dev/dvb/adapter0/frontend0"

/** A request of the system device. A read is expected to store one byte at the address given, although the numbers say 4
 * (type 'I'); a set takes the level itself as the argument. Each returns 0 on success.
 * @{ */
#define BOARD_READ_GPIO_107 0x40044914UL
#define BOARD_READ_GPIO_153 0x40044915UL
#define BOARD_READ_GPIO_165 0x40044916UL
#define BOARD_READ_GPIO_172 0x40044917UL
#define BOARD_READ_GPIO_173 0x40044918UL
#define BOARD_READ_GPIO_174 0x40044919UL
#define BOARD_READ_GPIO_175 0x4004491AUL
#define BOARD_SET_GPIO_172 0x4004491BUL
#define BOARD_SET_GPIO_173 0x4004491CUL
#define BOARD_SET_GPIO_174 0x4004491DUL
#define BOARD_SET_GPIO_175 0x4004491EUL
#define BOARD_SET_BUFFER_IC 0x4004491FUL
/** @} */

/** Sends a debug command to the tuner frontend; the argument is the address of a FrontendDebugCommand_t. */
#define FE_SEND_DBG_CMD 0x80246F51UL

/** FrontendDebugCommand_t::command that mutes (parameter 1) or unmutes (0) the tuner. */
#define FE_DBG_CMD_TUNER_MUTE 0x323

/** The argument of FE_SEND_DBG_CMD. */
typedef struct {
    int32_t command;      /**< what is asked for */
    int32_t parameter;    /**< its operand */
    uint8_t reserved[28]; /**< zero */
} FrontendDebugCommand_t;

#ifdef __cplusplus
static_assert(sizeof(FrontendDebugCommand_t) == 36, "the size that FE_SEND_DBG_CMD names");
#endif

#endif
