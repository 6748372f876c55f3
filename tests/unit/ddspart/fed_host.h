// SPDX-License-Identifier: Apache-2.0
// A host of which the files say what the test feeds them.
#pragma once

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "host/files.h"

/** Its files are in a directory of their own, which is gone with the object. */
class FedHost {
public:
    FedHost() : root_((std::filesystem::temp_directory_path() / "ddspart.XXXXXX").string()) {
        if (mkdtemp(root_.data()) == nullptr) {
            throw std::runtime_error("cannot make " + root_);
        }
        std::filesystem::create_directories(files().proc);
    }
    ~FedHost() {
        std::filesystem::remove_all(root_);
    }
    FedHost(const FedHost &) = delete;
    FedHost &operator=(const FedHost &) = delete;

    host::Files files() const {
        return {path("proc"), path("run"), path("sys")};
    }

    std::filesystem::path path(const std::string &name) const {
        return std::filesystem::path(root_) / name;
    }

    void put(const std::string &name, const std::string &text) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::ofstream(path(name)) << text;
    }

    void link(const std::string &name, const std::string &target) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::filesystem::create_symlink(target, path(name));
    }

    /** A process with no descriptors. */
    void put_process(int id, const std::string &name, unsigned user,
                     const std::string &cgroups = "0::/\n") const {
        const std::string directory = "proc/" + std::to_string(id) + "/";

        put(directory + "comm", name + "\n");
        put(directory + "cgroup", cgroups);
        put(directory + "status",
            "Name:\t" + name + "\nUid:\t0\t" + std::to_string(user) + "\t0\t0\nGid:\t0\t0\t0\t0\n");
        std::filesystem::create_directories(path(directory + "fd"));
    }

    /** A descriptor of a process, with the number of its socket. */
    void put_socket(int id, int descriptor, unsigned inode) const {
        link("proc/" + std::to_string(id) + "/fd/" + std::to_string(descriptor),
             "socket:[" + std::to_string(inode) + "]");
    }

private:
    std::string root_;
};
