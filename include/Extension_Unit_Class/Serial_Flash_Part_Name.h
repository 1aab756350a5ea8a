#ifndef KORVANE_EXTENSION_UNIT_SERIAL_FLASH_PART_NAME_H
#define KORVANE_EXTENSION_UNIT_SERIAL_FLASH_PART_NAME_H

// The printable name of a SerialFlashPart value ("MX25L512"), "unknown" for
// SF_UNDEFINED and for values outside the enumeration.
const char* Serial_Flash_Part_Name(int part);

#endif
