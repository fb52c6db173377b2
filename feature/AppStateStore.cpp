#include "host/AppState.h"
#include "rowstore/VelDatabase.h"

// Nothing uses this code, and the linker drops it. It compiles only while the row store supports the host's
// application-state table, which this plug-in does not have.
template VelDatabase<AppState>::~VelDatabase();
template int VelDatabase<AppState>::openVeldb();
template int VelDatabase<AppState>::VelDatabaseInit();
template int VelDatabase<AppState>::closeVeldb();
template int VelDatabase<AppState>::VelDatabaseWriteCachedToDisk();
template veldbError VelDatabase<AppState>::createVeldbTables<AppState>();
template veldbError VelDatabase<AppState>::writeCachedDRToDisk<AppState>();
template void VelDatabase<AppState>::build_query_for_where_clause(const VelDBDataRowKey&, std::string&);
template int VelDBDataTable<AppState>::freeRow(vecT&);
