#include "methods/method_table.h"

#include "methods/method_table_layout.h"

const TvMethodTable *g_tv_method = nullptr;
int (*tv_ippRpcFunSet)(char *answer, const char *request) = nullptr;

static const TvMethodTable NO_METHODS = {};

const TvMethodTable *register_tv_method(const TvMethodTable *table)
{
    __atomic_store_n(&g_tv_method, table, __ATOMIC_RELEASE);
    return table;
}

const TvMethodTable *registered_methods()
{
    return __atomic_load_n(&g_tv_method, __ATOMIC_ACQUIRE);
}

const TvMethodTable *host_methods()
{
    const TvMethodTable *table = registered_methods();
    return table == nullptr ? &NO_METHODS : table;
}

const TvMethodTable *host_methods(const RequestReader *args)
{
    return args->failed ? &NO_METHODS : host_methods();
}

int tv_opt()
{
    return 0;
}

int tv_finish()
{
    return 0;
}
