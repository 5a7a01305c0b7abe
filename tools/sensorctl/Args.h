#pragma once
// Command-line parsing of sensorctl: options, positional words and the
// checks of the argument texts ("(k,v)..." records, "(k,...)" key lists).
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "controller/SensorTypes.h"

namespace sensorctl {

struct Options {
    std::vector<std::string> words;   // command and its positional arguments
    std::set<std::string> given;      // long names of the options present

    std::string root;                 // --root DIR
    int channel = 1;                  // --channel N
    int clockHour = -1;               // --clock HH:MM
    int clockMinute = -1;
    double timeScale = 0.01;          // --time-scale S
    bool log = false;                 // --log
    bool verbose = false;             // --verbose
    bool help = false;                // --help, -h
    std::string model;                // --model (init-root)
    std::string devicesDir;           // --devices (init-root)
    bool summary = false;             // --summary (style)
    std::string out;                  // --out FILE (style, style merge)
    std::string styleFile;            // --style F (style merge)
    std::string diversityFile;        // --diversity F (style merge)
    std::string detail;               // --detail TEXT (style merge)
    std::string bind = "127.0.0.1";   // --bind ADDR (serve)
    int port = 8080;                  // --port P (serve)
    bool onvif = false;               // --onvif (serve)
    std::string onvifUser;            // --onvif-user U (serve --onvif)
    std::string onvifPassword;        // --onvif-password P (serve --onvif)

    // Replays of the scheme decisions (timeline, explain).
    int fromMinute = 0;               // --from HH:MM (timeline)
    int toMinute = 24 * 60;           // --to HH:MM, 24:00 allowed (timeline)
    int days = 1;                     // --days N (timeline)
    int stepMinutes = 1;              // --step MIN (timeline)
    std::string dayNightFile;         // --daynight FILE (timeline)
    std::string svgFile;              // --svg FILE (timeline)
    std::string jsonFile;             // --json FILE (timeline, explain)
    int atHour = -1;                  // --at HH:MM (explain)
    int atMinute = -1;

    bool has(const std::string& p_strName) const { return given.count(p_strName) != 0; }
};

// Parses argv-style words (without the program name). Throws a usage error
// for an unknown option or a missing or malformed option value.
Options parseOptions(const std::vector<std::string>& p_vecArgs);

// Usage error unless every option given is in the allowed list.
void allowOnly(const Options& p_stOptions, const std::string& p_strCommand,
               const std::vector<std::string>& p_vecAllowed);
// Usage error unless the number of positional words after the command (and
// sub-command) lies in [p_nMin, p_nMax].
void expectArgs(const Options& p_stOptions, size_t p_nSkip, size_t p_nMin, size_t p_nMax, const std::string& p_strUsage);

// Strict decimal integer in [p_nMin, p_nMax].
bool parseInteger(const std::string& p_strText, long long p_nMin, long long p_nMax, long long& p_nOut);
// Same, or a usage error naming what the number is.
long long integerArg(const std::string& p_strText, long long p_nMin, long long p_nMax, const std::string& p_strWhat);
// "HH:MM" with 0 <= HH <= 23, 0 <= MM <= 59.
bool parseClockText(const std::string& p_strText, int& p_nHour, int& p_nMinute);

// Record text "(k,v)(k,v)...": at least one record, keys 0..2147483647,
// values 32-bit signed, no blanks. Usage error otherwise.
std::vector<KeyVal> recordTextArg(const std::string& p_strText);
// Key list "(k,k,...)": at least one key, 0..2147483647. Usage error otherwise.
std::vector<int> keyListArg(const std::string& p_strText);
// "(a,b,c)": exactly three 32-bit signed numbers. Usage error otherwise.
std::vector<int> checkTextArg(const std::string& p_strText);

// Splits a shell line into words: blanks separate, '...' and "..." quote.
// False on an unterminated quote.
bool splitLine(const std::string& p_strLine, std::vector<std::string>& p_vecWords);

} // namespace sensorctl
