// SPDX-License-Identifier: Apache-2.0
#include "login/Pam.h"

#include <pwd.h>
#include <security/pam_appl.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <sstream>

namespace vellumo::web::login {
namespace {

constexpr const char* kService = "vellumo-web";

// PAM frees the answers, and the modules overwrite what they no longer need.
pam_response* NewAnswers(int count) {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
    void* const room = std::calloc(static_cast<size_t>(count), sizeof(pam_response));
    return static_cast<pam_response*>(room);
}

// Answers a question for a password with the password, and no other question: a module that wants
// to know more cannot be used here.
int Converse(int count, const pam_message** messages, pam_response** answers, void* password) {
    *answers = count > 0 && count <= PAM_MAX_NUM_MSG ? NewAnswers(count) : nullptr;
    if (*answers == nullptr) {
        return PAM_CONV_ERR;
    }
    for (int i = 0; i < count; ++i) {
        if (messages[i]->msg_style == PAM_PROMPT_ECHO_OFF && password != nullptr) {
            (*answers)[i].resp = strdup(static_cast<const char*>(password));
        }
    }
    return PAM_SUCCESS;
}

class Transaction {
public:
    Transaction(const std::string& user, const char* password, const std::string& directory)
        : _conversation{Converse, const_cast<char*>(password)},
          _result(pam_start_confdir(kService, user.c_str(), &_conversation,
                                    directory.empty() ? nullptr : directory.c_str(), &_handle)) {}
    ~Transaction() {
        if (_handle != nullptr) {
            pam_end(_handle, _result);
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // The next step, unless one before has failed.
    template <typename Step>
    void Do(Step step) {
        _result = _result == PAM_SUCCESS ? step(_handle) : _result;
    }

    Verdict Result() const {
        switch (_result) {
            case PAM_SUCCESS:
                return Verdict::kAccepted;
            case PAM_ABORT:
            case PAM_AUTHINFO_UNAVAIL:
            case PAM_BUF_ERR:
            case PAM_SERVICE_ERR:
            case PAM_SYSTEM_ERR:
                return Verdict::kUnavailable;
            default:
                return Verdict::kRefused;
        }
    }

private:
    pam_conv _conversation;
    pam_handle_t* _handle = nullptr;
    int _result;
};

}  // namespace

std::optional<Account> FindAccount(const std::string& name) {
    const passwd* const found = name.empty() ? nullptr : getpwnam(name.c_str());
    if (found == nullptr || found->pw_uid == 0) {
        return std::nullopt;
    }
    return Account{found->pw_name, found->pw_uid};
}

bool IsOfPerson(uid_t id) {
    constexpr uid_t kNobody = 65534;
    uid_t first = 1000;
    std::ifstream lines("/etc/login.defs");
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        uid_t value = 0;
        if (words >> name >> value && name == "UID_MIN" && value > 0) {
            first = value;
        }
    }
    return id >= first && id != kNobody;
}

Verdict LogIn(const Credentials& credentials, const std::string& directory) {
    Transaction transaction(credentials.user, credentials.password.c_str(), directory);
    if (!credentials.address.empty()) {
        transaction.Do([&](pam_handle_t* handle) {
            return pam_set_item(handle, PAM_RHOST, credentials.address.c_str());
        });
    }
    transaction.Do([](pam_handle_t* handle) {
        return pam_authenticate(handle, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    });
    transaction.Do([](pam_handle_t* handle) { return pam_acct_mgmt(handle, PAM_SILENT); });
    return transaction.Result();
}

Verdict LookAt(const std::string& user, const std::string& directory) {
    Transaction transaction(user, nullptr, directory);
    transaction.Do([](pam_handle_t* handle) { return pam_acct_mgmt(handle, PAM_SILENT); });
    return transaction.Result();
}

}  // namespace vellumo::web::login
