#include "host/AppState.h"
#include "rowstore/VelDatabase.h"

// The row store supports the host's application-state table, which this plug-in does not have. Compiling the operations
// that such a store has shows that they still fit; the linker drops them.
template VelDatabase<AppState>::~VelDatabase();
template int VelDatabase<AppState>::openVeldb();
template int VelDatabase<AppState>::VelDatabaseInit();
template int VelDatabase<AppState>::closeVeldb();
template int VelDatabase<AppState>::VelDatabaseWriteCachedToDisk();
template veldbError VelDatabase<AppState>::createVeldbTables<AppState>();
template veldbError VelDatabase<AppState>::writeCachedDRToDisk<AppState>();
template void VelDatabase<AppState>::build_query_for_where_clause(const VelDBDataRowKey&, std::string&);
template int VelDBDataTable<AppState>::freeRow(vecT&);
