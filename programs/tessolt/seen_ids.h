#pragma once

#include <tessolt/mail.h>

#include <filesystem>
#include <set>
#include <string>

namespace tessolt::shell {

/// Which messages of a mailbox were fetched into a folder: a file there with their unique ids, a
/// line each, held for as long as this lives. All throw a Problem when the file can't be used.
class SeenIds {
public:
    /// `mailbox` keeps those of several mailboxes apart.
    SeenIds(const std::filesystem::path& folder, std::string mailbox);

    bool holds(const std::string& id) const { return lines_.count(lineOf(id)) > 0; }
    /// The disk has it when this returns.
    void add(const std::string& id);

private:
    std::string lineOf(const std::string& id) const { return id + " " + mailbox_; }

    std::string mailbox_;
    std::filesystem::path path_;
    detail::Descriptor file_;
    std::set<std::string> lines_;
};

}  // namespace tessolt::shell
