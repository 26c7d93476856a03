// State that lives as long as the process. It is created on first use and never destroyed, because detached threads may
// still run while main ends. A module keeps its state in one struct and reaches it through one accessor:
//
//     ClientTable& table() { return process_wide<ClientTable>(); }
#pragma once

template <typename T>
T& process_wide() {
    static T* const instance = new T;
    return *instance;
}
