#include "rowstore/VelDatabase.h"

#include "host/AppState.h"

// The host's application-state table has no owner in this plug-in. Of its store, the operations that do not make or
// read rows are kept compiled here; they are used by whoever creates such a store.
template VelDatabase<AppState>::~VelDatabase();
template int VelDatabase<AppState>::openVeldb();
template int VelDatabase<AppState>::VelDatabaseInit();
template int VelDatabase<AppState>::closeVeldb();
template int VelDatabase<AppState>::VelDatabaseWriteCachedToDisk();
template veldbError VelDatabase<AppState>::createVeldbTables<AppState>();
template veldbError VelDatabase<AppState>::writeCachedDRToDisk<AppState>();
template void VelDatabase<AppState>::build_query_for_where_clause(const VelDBDataRowKey&, std::string&);
template int VelDBDataTable<AppState>::freeRow(vecT&);
