#include "host/AppState.h"
#include "rowstore/VelDatabase.h"

// The row store supports the host's application-state table, though this plug-in has none. Compiling its operations,
// but for those that make or read rows, keeps that true; the linker drops what nobody calls.
template VelDatabase<AppState>::~VelDatabase();
template int VelDatabase<AppState>::openVeldb();
template int VelDatabase<AppState>::VelDatabaseInit();
template int VelDatabase<AppState>::closeVeldb();
template int VelDatabase<AppState>::VelDatabaseWriteCachedToDisk();
template veldbError VelDatabase<AppState>::createVeldbTables<AppState>();
template veldbError VelDatabase<AppState>::writeCachedDRToDisk<AppState>();
template void VelDatabase<AppState>::build_query_for_where_clause(const VelDBDataRowKey&, std::string&);
template int VelDBDataTable<AppState>::freeRow(vecT&);
