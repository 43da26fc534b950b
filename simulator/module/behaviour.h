#pragma once

#include "protocol/payload_reader.h"
#include "simulator/module/module.h"
#include "simulator/wire/payload.h"
#include "simulator/wire/results.h"

#include <tuple>
#include <utility>

namespace simulator {

// The state and the command handlers of one class of messages.
class Behaviour
{
public:
    explicit Behaviour(Module &owner)
        : module(owner)
    {
    }
    virtual ~Behaviour() = default;
    Behaviour(const Behaviour &) = delete;
    Behaviour &operator=(const Behaviour &) = delete;

    // Resets the state to power-up, except for what a real module keeps.
    virtual void restart() {}

protected:
    // Registers the handler of a command, named as in "system_hello". The parameter types of the handler say
    // which fields it reads, in wire order. It returns the payload of the response, or a Result, or nothing.
    template <typename Handler>
    void on(const char *command, Handler handler)
    {
        module.setHandler(command, readingFields(std::move(handler), &Handler::operator()));
    }

    // Refuses a command whose response has no result field.
    void refuseByEvent() { module.raise("system_protocol_error", resultInvalidParameter); }

    Module &module;

private:
    template <typename Handler, typename Response, typename... Fields>
    static Module::Handler readingFields(Handler handler, Response (Handler::*)(Fields...) const)
    {
        return [handler = std::move(handler)](const QByteArray &command) -> QByteArray {
            [[maybe_unused]] payload_reader reader(message_payload{command.constData(), command.size()});
            const std::tuple<std::decay_t<Fields>...> fields{reader.take<std::decay_t<Fields>>()...};
            if constexpr (std::is_void_v<Response>) {
                std::apply(handler, fields);
                return {};
            } else if constexpr (std::is_same_v<Response, Result>) {
                return payload(std::apply(handler, fields));
            } else {
                return std::apply(handler, fields);
            }
        };
    }
};

} // namespace simulator
