#pragma once
// Whole-file access for style, version and scheme files.
#include "controller/SensorTypes.h"

#define SENSOR_CONFIG_DIR "/mnt/mtd/code/config_file"
#define SENSOR_SCHEME_FILE_FMT "/mnt/mtd/code/config_file/sensor%d_%d.cfg"
#define SENSOR_THERMAL_FILE_FMT "/mnt/mtd/code/config_file/sensor-thermal%d.cfg"
#define SENSOR_VERSION_FILE "/mnt/mtd/code/config_file/snsversion.cfg"

// Size of the file in bytes.
INT64 getFileLen(const char* file_name);
// Reads exactly length bytes; the count read, or -1.
int loadFromFile(const char* file_name, void* buffer, INT64 length);
// Replaces the file with length bytes; the count written.
int saveToFile(char* file_name, char* data, INT64 length);
// Loads count records; always 0 (a missing or short file is reported only).
int keyValFromFile(char* file_name, KeyVal* records, u32 count);
// Saves count records; always 0.
int keyValToFile(char* file_name, KeyVal* records, u32 count);
// The parameter-layout version stamp; 0 when read/written, -1 otherwise.
int getVersion(u32* version);
int setVersion(u32 version);
