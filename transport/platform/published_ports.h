#pragma once

#include <string>
#include <vector>

// Ports that programs of this user publish for the port list, beside those of the hardware: the simulated
// module offers its pseudo-terminal so. POSIX only.

struct published_port
{
    std::string name; // as shown to the user
    std::string path; // the device itself, with all links resolved: "/dev/pts/3"
};

// The directory of the published ports, whether it exists or not; empty if this user has no runtime
// directory.
std::string published_ports_dir();

// The ports published by processes that are alive now, sorted by name. Links that a dead process left behind,
// links of other users and all that is no character device of this user are passed over.
std::vector<published_port> list_published_ports();

// Publishes `device` under `name` for as long as the object lives. The name is a file name of at most 240
// bytes with no leading dot. A name that a live process holds is refused, a stale one is taken over.
class port_publication
{
public:
    port_publication(std::string name, const std::string &device);
    ~port_publication();
    port_publication(const port_publication &) = delete;
    port_publication &operator=(const port_publication &) = delete;

    bool is_published() const { return published_; }
    const std::string &error() const { return error_; } // empty when published

private:
    bool publish(const std::string &device);
    bool take_lock();
    bool lock_is_named() const;
    std::string lock_name() const { return "." + name_ + ".lock"; }

    std::string name_;
    std::string error_;
    int dir_ = -1;
    int lock_ = -1;
    bool published_ = false;
};
