// DemoShell: the component shell of the demo instrument. It builds the
// component tree, drives every component through its life, publishes the
// shell's services in the root's interface registry, prints the component
// table and runs the tree back down.
//
//   root (interface registry, the process-wide root)
//   controller (object registry) <- executor, channel 1..N register here
//
// Lifecycle errors are thrown by the library as CErrorObject* out of
// Build/Start (the caller owns the record). TearDown never throws: each
// step runs only for the components that reached it, and a failure is
// handed to HandleError so the tear-down goes on.
// Thread safety: one thread drives the shell.
#pragma once

#include <KxTamarindCommon.h>

#include <vector>

#include "Components.h"
#include "Linkage.h"

namespace Demo {

class DemoShell {
public:
    // Logical locations: the controller, the executor and the odd channels
    // live in instrument `li1`, the even channels in `li2`.
    DemoShell(DemoClasses& classes, int channels, bool failConnect, long li1, long li2);
    ~DemoShell();
    DemoShell(const DemoShell&) = delete;
    DemoShell& operator=(const DemoShell&) = delete;

    // Creates the components, sets the root and hands out references,
    // names and GUIDs.
    void Build();
    // FinishConstruct, InitializeOperation and Connect for every component,
    // then publishes the shell's services in the root's registry.
    void Start();
    // The component table (the channels from the controller's registry,
    // enumerated by their category).
    void PrintTable();
    // Runs the lifecycle back and releases the root; idempotent.
    void TearDown();
    // Drops the shell's own references on the components and the linkage.
    void Release();

    ExecutorComponent* Executor() { return m_pExecutor; }
    ControllerComponent* Controller() { return m_pController; }
    int ChannelCount() const { return static_cast<int>(m_Channels.size()); }
    long ComponentCount() const { return static_cast<long>(m_All.size()); }

private:
    void Add(DemoComponent* component, IUnknown* supervisor, long handle, long location,
             const wchar_t* name);
    void PrintRow(DemoComponent* component);
    // Runs `step` on the components (last created first) whose state is
    // `state`; failures go to HandleError.
    template <class Step>
    void StepBack(KxTamarind::InitializationState state, const char* what, Step step);

    DemoClasses& m_Classes;
    const int m_iChannels;
    const bool m_bFailConnect;
    const long m_lLi1;
    const long m_lLi2;
    DemoLinkage* m_pLinkage = nullptr;
    RootComponent* m_pRoot = nullptr;
    ControllerComponent* m_pController = nullptr;
    ExecutorComponent* m_pExecutor = nullptr;
    std::vector<ChannelComponent*> m_Channels;
    std::vector<DemoComponent*> m_All; // creation order; one reference each
    std::vector<GUID> m_Published;
    bool m_bRootSet = false;
    bool m_bTornDown = false;
};

} // namespace Demo
