// State that lives as long as the process: created on first use, never destroyed, because detached threads may still be
// running while main ends. Modules keep their state in one struct and reach it through one accessor:
//
//     ClientTable& table() { return process_wide<ClientTable>(); }
#pragma once

template <typename T>
T& process_wide() {
    static T* const instance = new T;
    return *instance;
}
