// The components of the demo instrument, built on the library's CB* bases
// and made with CKxComObject (reference counted, deleted by their last
// Release):
//
//   RootComponent        the root of the object tree; its interface registry
//                        (CBInterfaceRegistration) is the system's registry.
//   ControllerComponent  the application controller; supervises the
//                        channels and the executor with an object registry
//                        (CBObjectRegistration over a CObjectList).
//   ChannelComponent     one measurement channel; computes simulated readings.
//   ExecutorComponent    executes the channels' operations that arrive through
//                        a CMessageQueue, on a thread of the process-wide
//                        pool; an error a channel throws fails only that
//                        message (see Serve).
//
// Every component owns its CObjectData and carries its IUnknown in the
// identification word, so the supervisor's registry stores it with the
// record. Live components are counted (ComponentsCreated/Destroyed) so the
// shell can prove that each one reached its final Release.
// Thread safety: the lifecycle is driven from one thread; the executor's
// queue and the channels' Reading may be used from any thread.
#pragma once

#include <KxTamarindCommon.h>

#include <atomic>
#include <vector>

namespace Demo {

// A co-class description with its own texts and its main category.
class DemoCoClass {
public:
    DemoCoClass(const wchar_t* name, const wchar_t* description, const GUID& clsid,
                const GUID& mainCategory);
    ~DemoCoClass();
    DemoCoClass(const DemoCoClass&) = delete;
    DemoCoClass& operator=(const DemoCoClass&) = delete;

    KxTamarind::CCoClassData* Data() { return &m_Data; }
    const GUID& MainCategory() const { return m_Category; }

private:
    BSTR m_bstrName;
    BSTR m_bstrDescription;
    BSTR m_bstrImage;
    CLSID m_Clsid;
    GUID m_Category;
    KxTamarind::CCoClassData m_Data{};
};

// The four classes of the demo; category constants for the enumerations.
struct DemoClasses {
    DemoClasses();
    DemoCoClass root;
    DemoCoClass controller;
    DemoCoClass channel;
    DemoCoClass executor;
};

long ComponentsCreated();
long ComponentsDestroyed();

// The simulated reading of a channel for a command's sample number: a
// deterministic value, so senders can check what came back.
int SimulatedReading(int channel, int sample);

// Common part of all demo components.
class DemoComponent : public KxTamarind::CBComponentManagement, public KxTamarind::CBCoClassInfo {
public:
    explicit DemoComponent(KxTamarind::CCoClassData* classData);
    ~DemoComponent() override;

    KxTamarind::CObjectData& Data() { return m_ObjectData; }
    // The object's identity (no reference added).
    IUnknown* Identity() {
        return static_cast<IUnknown*>(static_cast<KxTamarind::IKXComponentManagement*>(this));
    }
    KxTamarind::IKXComponentManagement* Management() { return this; }

private:
    KxTamarind::CObjectData m_ObjectData;
};

class RootComponent : public DemoComponent, public KxTamarind::CBInterfaceRegistration {
public:
    explicit RootComponent(KxTamarind::CCoClassData* classData) : DemoComponent(classData) {}

protected:
    HRESULT OnInterfaceRegistered(KxTamarind::InterfaceIdentificationData*) override {
        return S_OK;
    }
    HRESULT OnInterfaceUnregistered(GUID const*) override { return S_OK; }
    KxTamarind::IKXInterfaceEnumeration* CreateInterfaceEnumeration() override;
};

class ControllerComponent : public DemoComponent, public KxTamarind::CBObjectRegistration {
public:
    explicit ControllerComponent(KxTamarind::CCoClassData* classData);
    ~ControllerComponent() override;

    long Registrations() const { return m_lRegistered.load(std::memory_order_relaxed); }
    long Unregistrations() const { return m_lUnregistered.load(std::memory_order_relaxed); }

protected:
    HRESULT OnObjectRegistered(KxTamarind::ObjectIdentificationData*) override;
    HRESULT OnObjectUnregistered(GUID*, long) override;
    // A CBObjectEnumeration over this registry's list, filtered by catId.
    KxTamarind::IKXObjectEnumeration* CreateObjectEnumeration(GUID* catId) override;

private:
    KxTamarind::CObjectList m_List;
    std::atomic<long> m_lRegistered{0};
    std::atomic<long> m_lUnregistered{0};
};

class ChannelComponent : public DemoComponent {
public:
    // failConnect: DoConnect answers E_FAIL; failDelete: deleting the
    // property-dependent objects answers E_FAIL (reported while tearing down).
    ChannelComponent(KxTamarind::CCoClassData* classData, int index, bool failConnect,
                     bool failDelete);

    int Index() const { return m_iIndex; }
    // One reading; safe from any thread.
    int Reading(int sample);
    long ReadingCount() const { return m_lReadings.load(std::memory_order_relaxed); }
    // The simulated DC voltage (microvolts) and temperature (millidegrees
    // Celsius) of the channel: fixed per channel.
    int Voltage() const { return 1000000 * (m_iIndex + 1) + 2500 * m_iIndex + 125; }
    int Temperature() const { return 23000 + 125 * m_iIndex; }
    // A diagnostic failure on request: raises an error (never returns).
    [[noreturn]] void Fail();

    HRESULT DoConnect() override { return m_bFailConnect ? E_FAIL : S_OK; }
    HRESULT DoDeletePropDependentDynObjects() override { return m_bFailDelete ? E_FAIL : S_OK; }

private:
    const int m_iIndex;
    const bool m_bFailConnect;
    const bool m_bFailDelete;
    std::atomic<long> m_lReadings{0};
};

// Messages of the executor's queue. param1 is the channel index (the value
// for kEchoMessage), param2 the sample of kMeasureMessage. Results are
// non-negative values; a failure is a failed HRESULT.
constexpr unsigned long kMeasureMessage = 1;     // Reading(sample)
constexpr unsigned long kVoltageMessage = 2;     // Voltage()
constexpr unsigned long kTemperatureMessage = 3; // Temperature()
constexpr unsigned long kEchoMessage = 4;        // param1 itself (>= 0)
constexpr unsigned long kFailMessage = 5;        // Fail()
// Result of a message naming no channel, or an unknown message.
constexpr int kNoSuchChannel = -1;

class ExecutorComponent : public DemoComponent {
public:
    explicit ExecutorComponent(KxTamarind::CCoClassData* classData);
    ~ExecutorComponent() override;

    // The channels to serve, found through the linkage when connecting.
    void SetChannelGuids(const std::vector<GUID>& guids) { m_ChannelGuids = guids; }
    KxTamarind::CMessageQueue& Queue() { return m_Queue; }
    long Processed() const { return m_lProcessed.load(std::memory_order_relaxed); }

    // Resolves the channels in the linkage and starts serving the queue on
    // a pool thread; E_FAIL when a channel cannot be found.
    HRESULT DoConnect() override;
    // Closes the queue, waits for the run to end and drops the channels.
    HRESULT DoDisconnect() override;

private:
    class ServeRun : public KxTamarind::CThreadRunObject {
    public:
        explicit ServeRun(ExecutorComponent& owner)
            : KxTamarind::CThreadRunObject(true), m_Owner(owner) {}
        void Run() override { m_Owner.Serve(); }

    private:
        ExecutorComponent& m_Owner;
    };

    void Serve();
    // The result of one message; raises what the channel raises.
    int Execute(unsigned long message, int param1, int param2);
    void StopServing();
    void ReleaseChannels();

    KxTamarind::CMessageQueue m_Queue;
    ServeRun m_Run;
    std::atomic<bool> m_bRunning{false};
    std::vector<GUID> m_ChannelGuids;
    std::vector<ChannelComponent*> m_Channels; // one reference each
    std::atomic<long> m_lProcessed{0};
};

typedef KxTamarind::CKxComObject<RootComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo, KxTamarind::IKXInterfaceRegistration>
    RootObject;
typedef KxTamarind::CKxComObject<ControllerComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo, KxTamarind::IKXObjectRegistration>
    ControllerObject;
typedef KxTamarind::CKxComObject<ChannelComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo>
    ChannelObject;
typedef KxTamarind::CKxComObject<ExecutorComponent, KxTamarind::IKXComponentManagement,
                                 KxTamarind::IKXCoClassInfo>
    ExecutorObject;

} // namespace Demo
