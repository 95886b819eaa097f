// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_SETTINGS_H
#define NAVO_SETTINGS_H

#include <string>
#include <vector>

#include "base.h"

// The server's settings and its texts in the user's language.
//
// Both are in files of `key="value"` lines with the grammar of smb.conf. In keys and section names,
// blanks and the case of letters do not matter. Of two lines with one key, the later is valid.
// Lines that begin with # or ; are comments. Blanks around a value do not belong to it; blanks
// inside its quotes do. Each call reads the files anew, so that a running process sees a change.
//
// When a file is missing, the defaults are used. When it exists but cannot be read or does not have
// this grammar, the defaults are used too, and the last error is set to NAVO_ERR_CONFIG. Nothing
// here throws, except when memory runs out. Several threads may share an object.

// The settings: /usr/navo/etc/navo.conf.
class NAVO_API NavoConf {
public:
    NavoConf();

    // Returns the value of `key`, or `defaultValue` when it is not set.
    std::string Info(const std::string& key, const std::string& defaultValue) const;
};

// The texts: /usr/navo/etc/strings/LANGUAGE.ini, where LANGUAGE is the setting `language`. A text
// that is missing there comes from enu.ini, the English texts. The name of a language has only
// letters, digits, "-" and "_"; for any other name, English is used.
class NAVO_API StringBundle {
public:
    // Selects the texts in `section` of the file; a text that is missing there comes from the
    // further sections, in their order, except null ones. `module`: the number of the program that
    // the texts belong to; not used, because a stock server has one set of files for all programs.
    StringBundle(int module, const char* section, const char* section2 = nullptr,
                 const char* section3 = nullptr);

    // Returns the text of `key`, or `defaultValue` when there is none.
    std::string Text(const std::string& key, const std::string& defaultValue) const;

private:
    std::vector<std::string> _sections;
};

#endif
