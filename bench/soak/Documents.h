// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_BENCH_SOAK_DOCUMENTS_H
#define VELLUMO_BENCH_SOAK_DOCUMENTS_H

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace vellumo::soak {

// Milliseconds of the steady clock, as the tools note them.
int64_t Now();

// Milliseconds until the queue has come to a task, when the containers were away before.
constexpr int64_t kLongestQueued = 30000;

// A document as it is now.
struct Document {
    std::string id;         // of its content; "" for a real one
    std::string behaviour;  // what its content tells the tool
    std::string content;
};

// What has happened to a content, besides being written.
struct History {
    std::string behaviour;
    int64_t written = 0;
    std::vector<int64_t> renames;
    std::vector<int64_t> removals;  // somebody asked to remove its products
};

// The documents in the share, and users that work with them. Each content is another one.
class Documents {
public:
    explicit Documents(unsigned seed) : _random(seed) {}

    void AddRealOnes(const std::string& samples);

    // One thing that a user does. Returns the name of it.
    std::string Change();

    // Asks the daemon for something, through the queue or the indexing queue.
    std::string Ask();

    const std::map<std::string, Document>& All() const { return _documents; }
    const std::map<std::string, History>& Histories() const { return _histories; }

    // Real paths of documents whose products somebody had removed, and which did not change since.
    const std::set<std::string>& WithoutProducts() const { return _removed; }

private:
    using Entry = std::map<std::string, Document>::iterator;

    int Number(int below);
    Entry Any();
    std::string NewPath();
    std::string Folder(int number) const;
    void Write(const std::string& realPath, bool isAtomic);
    void Create();
    void ChangeOne(bool isAtomic);
    void Rename();
    void RenameFolder();
    void Delete();
    void NoteRename(Entry document, const std::string& realPath);
    void NoteRemoval(const std::string& top);
    void NoteRemovalOf(const std::string& realPath);
    bool IsBelowRemoved(const std::string& realPath) const;

    std::mt19937 _random;
    int _lastId = 0;
    int _lastName = 0;
    std::map<std::string, Document> _documents;  // by real path
    std::map<std::string, History> _histories;   // by id
    std::set<std::string> _removed;
    std::map<std::string, int64_t>
        _removals;  // when somebody asked last, by the folder or document
    std::vector<int> _folders = std::vector<int>(12, 0);  // how often each was renamed
};

}  // namespace vellumo::soak

#endif
