// SPDX-License-Identifier: Apache-2.0

// What the firmware of an emulated machine says of its four processors: two clusters, each a frequency policy, with five
// and with six steps, and thermal zones. Nobody listens on the ports, so a frequency is only ever the kernel's own word.
DefinitionBlock ("", "SSDT", 2, "CORVAN", "MACHINE", 1)
{
    External (\_SB.CPUS.C000, DeviceObj)
    External (\_SB.CPUS.C001, DeviceObj)
    External (\_SB.CPUS.C002, DeviceObj)
    External (\_SB.CPUS.C003, DeviceObj)

    Scope (\_SB)
    {
        Name (PORT, Package ()
        {
            ResourceTemplate () { Register (SystemIO, 0x08, 0x00, 0x5F0) },
            ResourceTemplate () { Register (SystemIO, 0x08, 0x00, 0x5F1) }
        })
        Name (LITL, Package () // MHz, mW, two latencies in us, what is written to the port and read from it
        {
            Package () { 1800, 900, 10, 10, 0, 0 },
            Package () { 1500, 700, 10, 10, 1, 1 },
            Package () { 1100, 500, 10, 10, 2, 2 },
            Package () { 800, 300, 10, 10, 3, 3 },
            Package () { 500, 100, 10, 10, 4, 4 }
        })
        Name (BIG, Package ()
        {
            Package () { 2600, 3000, 10, 10, 0, 0 },
            Package () { 2200, 2400, 10, 10, 1, 1 },
            Package () { 1700, 1800, 10, 10, 2, 2 },
            Package () { 1400, 1200, 10, 10, 3, 3 },
            Package () { 1000, 800, 10, 10, 4, 4 },
            Package () { 700, 400, 10, 10, 5, 5 }
        })
        Name (LDOM, Package () { Package () { 5, 0, 0, 0xFD, 2 } })
        Name (BDOM, Package () { Package () { 5, 0, 1, 0xFD, 2 } })
        // The highest step that the firmware allows the big cluster: 0, all of them, or 2, up to 1700 MHz. The kernel's
        // first look at the zone below makes it 0.
        Name (TOP, 2)

        Scope (CPUS.C000) { Alias (PORT, _PCT) Alias (LITL, _PSS) Alias (LDOM, _PSD) Name (_PPC, 0) }
        Scope (CPUS.C001) { Alias (PORT, _PCT) Alias (LITL, _PSS) Alias (LDOM, _PSD) Name (_PPC, 0) }
        Scope (CPUS.C002) { Alias (PORT, _PCT) Alias (BIG, _PSS) Alias (BDOM, _PSD) Method (_PPC) { Return (TOP) } }
        Scope (CPUS.C003) { Alias (PORT, _PCT) Alias (BIG, _PSS) Alias (BDOM, _PSD) Method (_PPC) { Return (TOP) } }

        ThermalZone (CHIP) { Method (_TMP) { Return (3032) } Method (_CRT) { Return (3732) } }
        ThermalZone (SKIN) { Method (_TMP) { Return (3032) } Method (_CRT) { Return (3732) } }
        ThermalZone (FIRM) // each look at its temperature puts the firmware limit on or off: 30 degrees off, 32 on
        {
            Method (_TMP)
            {
                TOP = 2 - TOP
                Notify (\_SB.CPUS.C002, 0x80)
                Notify (\_SB.CPUS.C003, 0x80)
                Return (3032 + TOP * 10)
            }
            Method (_CRT) { Return (3732) }
        }
    }
}
