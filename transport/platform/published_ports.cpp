#include "transport/platform/published_ports.h"

#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t max_name = 240; // leaves room for "." and ".lock" in a file name

std::string runtime_dir()
{
    return QFile::encodeName(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)).toStdString();
}

bool valid_name(const std::string &name)
{
    return !name.empty() && name.size() <= max_name && name.front() != '.' &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

// Opens a directory that must be this user's own and closed to everybody else; -1 with errno if it is not.
int open_private_dir(int parent, const char *name, bool create)
{
    if (create && ::mkdirat(parent, name, S_IRWXU) != 0 && errno != EEXIST)
        return -1;
    const int dir = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dir < 0)
        return -1;
    struct stat info = {};
    bool trusted = ::fstat(dir, &info) == 0 && info.st_uid == ::geteuid();
    if (trusted && (info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        trusted = create && ::fchmod(dir, S_IRWXU) == 0;
    if (!trusted) {
        ::close(dir);
        errno = EPERM;
        return -1;
    }
    return dir;
}

int open_ports_dir(bool create)
{
    const std::string base = runtime_dir();
    if (base.empty()) {
        errno = ENOENT;
        return -1;
    }
    const int top = ::open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (top < 0)
        return -1;
    const int own = open_private_dir(top, "vorsel", create);
    const int ports = own < 0 ? -1 : open_private_dir(own, "ports", create);
    const int error = errno;
    ::close(top);
    if (own >= 0)
        ::close(own);
    errno = error;
    return ports;
}

// The directory may have been open to others before it was closed, and what they left is still in it.
bool is_own_file(int fd)
{
    struct stat info = {};
    return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == ::geteuid();
}

// What another user left goes, but for a directory with something in it. What is ours stays.
void remove_foreign(int dir, const std::string &name)
{
    struct stat info = {};
    if (::fstatat(dir, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && info.st_uid != ::geteuid())
        ::unlinkat(dir, name.c_str(), S_ISDIR(info.st_mode) ? AT_REMOVEDIR : 0);
}

bool is_held(int dir, const std::string &lock_name)
{
    const int lock = ::openat(dir, lock_name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (lock < 0)
        return false;
    // Shared, so that two lists made at once do not take each other for the publisher.
    const bool held = is_own_file(lock) && ::flock(lock, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(lock);
    return held;
}

// The device that a link leads to; empty unless both are this user's and the device is a character device.
std::string own_device(int dir, const std::string &link)
{
    struct stat info = {};
    if (::fstatat(dir, link.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || info.st_uid != ::geteuid())
        return {};
    char target[PATH_MAX];
    const ssize_t length = ::readlinkat(dir, link.c_str(), target, sizeof target);
    if (length <= 0 || length >= static_cast<ssize_t>(sizeof target) || target[0] != '/')
        return {};
    const std::string named(target, static_cast<std::size_t>(length));
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(named.c_str(), nullptr), &std::free);
    if (!path || ::stat(path.get(), &info) != 0 || !S_ISCHR(info.st_mode) || info.st_uid != ::geteuid())
        return {};
    return path.get();
}

} // namespace

std::string published_ports_dir()
{
    const std::string base = runtime_dir();
    return base.empty() ? base : base + "/vorsel/ports";
}

std::vector<published_port> list_published_ports()
{
    std::vector<published_port> ports;
    const int fd = open_ports_dir(false);
    if (fd < 0)
        return ports;
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(::fdopendir(fd), &::closedir);
    if (!dir) {
        ::close(fd);
        return ports;
    }
    while (const dirent *entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (!valid_name(name) || !is_held(fd, "." + name + ".lock"))
            continue;
        std::string path = own_device(fd, name);
        if (!path.empty())
            ports.push_back({name, std::move(path)});
    }
    std::sort(ports.begin(), ports.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
    return ports;
}

port_publication::port_publication(std::string name, const std::string &device)
    : name_(std::move(name))
{
    if (!valid_name(name_))
        error_ = "not a name for a port: \"" + name_ + "\"";
    else
        published_ = publish(device);
}

port_publication::~port_publication()
{
    // The lock file goes while it is still locked: who waits for it then sees that it lost its name.
    if (lock_ >= 0 && lock_is_named()) {
        if (published_)
            ::unlinkat(dir_, name_.c_str(), 0);
        ::unlinkat(dir_, lock_name().c_str(), 0);
    }
    if (lock_ >= 0)
        ::close(lock_);
    if (dir_ >= 0)
        ::close(dir_);
}

bool port_publication::publish(const std::string &device)
{
    dir_ = open_ports_dir(true);
    if (dir_ < 0) {
        error_ = "cannot use " + published_ports_dir() + ": " + std::strerror(errno);
        return false;
    }
    if (!take_lock())
        return false;
    remove_foreign(dir_, name_);
    struct stat info = {};
    if (::fstatat(dir_, name_.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISLNK(info.st_mode)) {
            error_ = published_ports_dir() + "/" + name_ + " is in the way";
            return false;
        }
        ::unlinkat(dir_, name_.c_str(), 0);
    }
    if (::symlinkat(device.c_str(), dir_, name_.c_str()) != 0) {
        error_ = "cannot publish \"" + name_ + "\": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool port_publication::take_lock()
{
    // Somebody who lists the ports holds the lock for a moment too, so one refusal does not say much.
    constexpr int attempts = 50;
    constexpr int pause_ms = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        remove_foreign(dir_, lock_name());
        lock_ = ::openat(dir_, lock_name().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                         S_IRUSR | S_IWUSR);
        if (lock_ < 0) {
            error_ = "cannot lock \"" + name_ + "\": " + std::strerror(errno);
            return false;
        }
        const bool locked = is_own_file(lock_) && ::flock(lock_, LOCK_EX | LOCK_NB) == 0;
        if (locked && lock_is_named())
            return true;
        ::close(lock_);
        lock_ = -1;
        if (!locked)
            ::poll(nullptr, 0, pause_ms);
    }
    error_ = "a port named \"" + name_ + "\" is published already";
    return false;
}

bool port_publication::lock_is_named() const
{
    struct stat held = {};
    struct stat named = {};
    return ::fstat(lock_, &held) == 0 &&
           ::fstatat(dir_, lock_name().c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}
