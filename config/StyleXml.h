#pragma once
// The style documents: parsing and printing helpers, element searches and the
// merge of a base style with its diversity edits.
#include <string>

#include <tinyxml.h>

#include "config/sensor.h"

#define SENSOR_MERGE_STYLE_FMT "/tmp/merge_style_ch%d.xml"

// Deepest element nesting accepted when parsing; deeper documents are refused
// so that recursive walks, printing and destruction stay within the stack.
#define STYLE_MAX_DEPTH 200

// Parses a zero-terminated buffer into the document; true on success. A text
// that does not parse, or nests deeper than STYLE_MAX_DEPTH, leaves it empty.
bool LoadMem(TiXmlDocument& doc, const char* text, TiXmlEncoding encoding);
// Prints the whole document into the string with TinyXML's printer.
void getXmlString(const TiXmlDocument& doc, std::string& out);
// Loads a document from a device file through the platform; true on success.
bool loadXmlFile(TiXmlDocument& doc, const char* path);
// Saves a document to a device file through the platform; true on success.
bool saveXmlFile(const TiXmlDocument& doc, const char* path);

int mergeStyle(int p_nChannelID, ModuleConfig* p_pModuleConfig, char** ui_style, char* ui_styleDiversity);
int updateStyleTab(TiXmlDocument* doc_style, const char* op, const char* tab_key, TiXmlElement* tab);

// Detail fields: "name=value)". The value is read through a 10-byte buffer.
int getDetailFieldTou32(const char* detail, const char* name, u32* value);
// Copies the whole value, without a terminator, into the caller's buffer,
// which must hold it (the caller zeroes the buffer first).
int getDetailFieldToStr(const char* detail, const char* name, char* value);
// Same, copying at most outSize - 1 characters, so that a zeroed buffer of
// outSize bytes stays terminated (the library's own 10-byte readers).
int getDetailFieldToStr(const char* detail, const char* name, char* value, size_t outSize);

int getNodebyCmdId(TiXmlElement* start, int cmdId, TiXmlElement*& found);
int getDnaValbyCmdId(TiXmlElement* start, int cmdId, int& value);
int DeleteNode(TiXmlElement* root, TiXmlElement* node);
int ModifyNodebyCmdId(TiXmlElement* start, int cmdId);
