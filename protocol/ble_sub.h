#pragma once

class cls_ble;

// What every per-class object shares: the engine that it belongs to. The pointer never changes.
class ble_sub
{
protected:
    explicit ble_sub(cls_ble *owner)
        : ble(owner)
    {
    }
    ~ble_sub() = default;

    cls_ble *ble;
};
