// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_SETTINGS_H
#define NAVO_SETTINGS_H

#include <string>
#include <vector>

#include "base.h"

// The server's settings and its texts in the user's language.
//
// Both lie in files of `key="value"` lines with the grammar of smb.conf: upper and lower case and
// blanks do not matter in keys and sections, what comes later overrides, lines that begin with # or
// ; are comments. Blanks around a value do not belong to it, those inside its quotes do. The files
// are read anew by each question, so that a running process sees a change.
//
// A file that is missing leaves the defaults in force. One that is there and cannot be read or has
// no such grammar does so too, and sets the last error to NAVO_ERR_CONFIG. Nothing here throws but
// for lack of memory; an object may be shared by threads.

// /usr/navo/etc/navo.conf
class NAVO_API NavoConf {
public:
    NavoConf();

    // The value of `key`, or `defaultValue` when it is not set.
    std::string Info(const std::string& key, const std::string& defaultValue) const;
};

// /usr/navo/etc/strings/LANGUAGE.ini, where LANGUAGE is the setting `language`; what is missing
// there is taken from enu.ini, the English texts. A language's name has letters, digits, "-" and
// "_" only; with another one English is used.
class NAVO_API StringBundle {
public:
    // The texts in `section` of the file and, for what is missing there, in the further sections
    // that are not null. `module` numbers the program that the texts belong to; a stock server has
    // one set of files for all of them.
    StringBundle(int module, const char* section, const char* section2 = nullptr,
                 const char* section3 = nullptr);

    // The text of `key`, or `defaultValue` when there is none.
    std::string Text(const std::string& key, const std::string& defaultValue) const;

private:
    std::vector<std::string> _sections;
};

#endif
