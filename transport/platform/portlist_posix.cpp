#include "transport/platform/objects_posix.h"
#include "transport/platform/published_ports.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <libudev.h>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vs {

namespace {

struct listed_port
{
    std::string friendly_name;
    std::string name; // below the prefix
};

class device_list : public posix::object
{
public:
    std::vector<listed_port> ports;
};

class device_key : public posix::object
{
public:
    explicit device_key(std::string port_name)
        : name(std::move(port_name))
    {
    }
    std::string name;
};

constexpr char dev_dir[] = "/dev/";

struct udev_release
{
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_enumerate *list) const { udev_enumerate_unref(list); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
};
template <typename T>
using udev_ptr = std::unique_ptr<T, udev_release>;

// The kernel keeps a few of its oldest ports whether the board has them or not; it knows those that it has
// not found as type 0. Nothing is opened to find out.
bool has_hardware(udev_device *device)
{
    if (std::strncmp(udev_device_get_sysname(device), "ttyS", 4) != 0)
        return true;
    const char *type = udev_device_get_sysattr_value(device, "type");
    if (type)
        return std::strcmp(type, "0") != 0;
    udev_device *board = udev_device_get_parent_with_subsystem_devtype(device, "platform", nullptr);
    return !board || std::strcmp(udev_device_get_sysname(board), "serial8250") != 0;
}

std::string model_of(udev_device *device)
{
    for (const char *property : {"ID_MODEL_FROM_DATABASE", "ID_MODEL"}) {
        const char *value = udev_device_get_property_value(device, property);
        if (!value || *value == '\0')
            continue;
        std::string model = value;
        std::replace(model.begin(), model.end(), '_', ' ');
        return model;
    }
    return "Serial port";
}

void add_port(std::vector<listed_port> &ports, const std::string &friendly_name, const std::string &path)
{
    const std::size_t prefix = sizeof dev_dir - 1;
    if (path.compare(0, prefix, dev_dir) == 0)
        ports.push_back({friendly_name, path.substr(prefix)});
}

void add_hardware_ports(std::vector<listed_port> &ports)
{
    const udev_ptr<udev> context(udev_new());
    const udev_ptr<udev_enumerate> found(context ? udev_enumerate_new(context.get()) : nullptr);
    if (!found || udev_enumerate_add_match_subsystem(found.get(), "tty") < 0 ||
        udev_enumerate_scan_devices(found.get()) < 0)
        return;
    for (auto *entry = udev_enumerate_get_list_entry(found.get()); entry;
         entry = udev_list_entry_get_next(entry)) {
        const char *path = udev_list_entry_get_name(entry);
        const udev_ptr<udev_device> device(udev_device_new_from_syspath(context.get(), path));
        if (!device || !udev_device_get_parent(device.get()) || !has_hardware(device.get()))
            continue;
        if (const char *node = udev_device_get_devnode(device.get()))
            add_port(ports, model_of(device.get()) + " (" + udev_device_get_sysname(device.get()) + ")",
                     node);
    }
}

struct published_paths
{
    std::mutex mutex;
    std::set<std::string> listed; // since the process began
};

published_paths &published()
{
    static auto *const instance = new published_paths;
    return *instance;
}

void add_published_ports(std::vector<listed_port> &ports)
{
    const std::lock_guard lock(published().mutex);
    for (const published_port &port : list_published_ports()) {
        const std::string path = QFile::encodeName(port.path).toStdString();
        published().listed.insert(path);
        add_port(ports, QFile::encodeName(port.name).toStdString(), path);
    }
}

const listed_port *port_of(handle list, const device_record &device)
{
    const auto found = posix::find_as<device_list>(list);
    return found && device.instance < found->ports.size() ? &found->ports[device.instance] : nullptr;
}

// Copies `text` and its terminating zero if they fit.
bool copy_text(const std::string &text, char *buffer, std::uint32_t size)
{
    if (text.size() + 1 > size)
        return posix::fail(ERANGE);
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

} // namespace

bool posix::is_no_longer_published(const std::string &path)
{
    {
        const std::lock_guard lock(published().mutex);
        if (published().listed.count(path) == 0)
            return false;
    }
    const auto ports = list_published_ports();
    return std::none_of(ports.begin(), ports.end(), [&path](const published_port &port) {
        return QFile::encodeName(port.path).toStdString() == path;
    });
}

const char *port_path_prefix()
{
    return dev_dir;
}

handle open_device_list()
{
    auto list = std::make_shared<device_list>();
    add_hardware_ports(list->ports);
    add_published_ports(list->ports);
    return posix::add(std::move(list));
}

bool device_at(handle list, std::uint32_t index, device_record &device)
{
    device.instance = index;
    return port_of(list, device) || posix::fail(ENODEV);
}

bool friendly_name(handle list, device_record &device, char *buffer, std::uint32_t size,
                   std::uint32_t *needed)
{
    const listed_port *port = port_of(list, device);
    if (!port)
        return posix::fail(ENODEV);
    if (needed)
        *needed = std::uint32_t(port->friendly_name.size() + 1);
    return copy_text(port->friendly_name, buffer, size);
}

handle open_device_key(handle list, device_record &device)
{
    const listed_port *port = port_of(list, device);
    if (!port) {
        posix::fail(ENODEV);
        return invalid_handle;
    }
    return posix::add(std::make_shared<device_key>(port->name));
}

bool query_port_name(handle key, char *buffer, std::uint32_t &size)
{
    const auto found = posix::find_as<device_key>(key);
    if (!found)
        return posix::fail(EBADF);
    if (!copy_text(found->name, buffer, size))
        return false;
    size = std::uint32_t(found->name.size() + 1);
    return true;
}

void close_device_key(handle key)
{
    posix::remove(key);
}

void destroy_device_list(handle list)
{
    posix::remove(list);
}

} // namespace vs
