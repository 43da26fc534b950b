#include "protocol/types.h"

#include "protocol/api_base.h"

static_assert(sizeof(bd_addr) == 6);
static_assert(sizeof(vs::api_base::msg_type) == 4);

void register_meta_types()
{
    qRegisterMetaType<uint8>("uint8");
    qRegisterMetaType<uint16>("uint16");
    qRegisterMetaType<vs::api_base::msg_type>("api_base::msg_type");
    qRegisterMetaType<bd_addr>("bd_addr");
}
