// SPDX-License-Identifier: Apache-2.0
// The paths in the words of a converter's command line.
#ifndef VELLUMO_CONVERTERS_WORDS_H
#define VELLUMO_CONVERTERS_WORDS_H

#ifdef __cplusplus
extern "C" {
#endif

// The part of a path after its last slash.
const char* words_file_name(const char* path);

// The file name in the path of a file directly in `directory`; "" for the directory itself; null
// for every other path.
const char* words_within(const char* path, const char* directory);

// The path in an argument of the form PATH, A=PATH or --option=PATH.
const char* words_path_in(const char* word);

#ifdef __cplusplus
}
#endif

#endif
