// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIG_SAVEDCOPY_H
#define VELLUMO_CONFIG_SAVEDCOPY_H

#include <string>

namespace NAVO::VELLUMO {

// The whole of a state file, in FILE.copy beside it, while the file itself is being written. Where
// no copy can be created, the file is written without one. Leaves errno as it is.
class SavedCopy {
public:
    SavedCopy(const std::string& file, const std::string& text);

    // Whether there is no space for the copy, and so hardly any for the file.
    bool HasNoSpace() const { return _hasNoSpace; }

    // Removes the copy, when the file is whole. Otherwise it stays for whoever reads the torn file.
    void Remove() const;

private:
    const std::string _path;
    bool _hasNoSpace = false;
};

// Writes `text` over the content of the state file, in the space on the disk that it has already:
// for a full disk, on which no copy can be made and a file that is truncated may not get its space
// back. Returns false, and changes nothing, when the file has too little.
bool Overwrite(const std::string& file, const std::string& text);

// The text of which a state file holds only the beginning, because a process has died in the middle
// of a save: that of its copy. "" when there is no copy, or the file is no part of it.
std::string CopyOfTorn(const std::string& file);

}  // namespace NAVO::VELLUMO

#endif
