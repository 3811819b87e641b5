<#
.SYNOPSIS
Looks at what stands between the updater and the machine, and says what to do. Changes nothing.

.DESCRIPTION
Looks for the serial adapter, its driver, its port and its latency timer. Each line begins with "ok" or
with "do" and then says what to do. Exit code: 0 nothing to do, 1 something to do.

.PARAMETER Answers
A file of recorded answers, as in tests/windows/answers, that is looked at instead of this computer.

.PARAMETER Stay
Keep the window open until Enter is pressed: for the start menu.
#>
param([string] $Answers, [switch] $Stay)

Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'

# What is said, one row a line: whom it is about, on what conditions, and the line. Of the rows about one
# thing (the word before the colon), the first whose conditions all hold is said. A condition is a fact,
# "=", "<" or ">", and a value. {fact} becomes its value; ports are spoken of one after the other.
$rows = @'
port     | adapter=yes                      | ok  adapter: {name} is an FTDI adapter ({manufacturer}, {description} {serial})
port     | adapter=yes opens=yes            | ok  holder: no program holds {name}
port     | adapter=yes opens=held           | do  holder: another program holds {name}; close the terminal programs and the second updater, or unplug the adapter and plug it in again
port     | adapter=yes opens=no             | do  holder: {name} cannot be opened; unplug the adapter and plug it in again, then restart the computer if that does not help
port     | adapter=yes latency<2            | ok  latency: {name} hands answers on after {latency} ms (after a change, from the next time it is plugged in)
port     | adapter=yes latency>1            | do  latency: {name} keeps answers back for {latency} ms, which makes an update take minutes longer; start "Set the adapter's latency" from the start menu, then unplug the adapter and plug it in again
computer | driverless>0                     | do  driver: an FTDI adapter is plugged in but has no driver; connect the computer to the network and plug it in again, or install the chip maker's driver for virtual COM ports
computer | faulty>0                         | do  driver: an FTDI adapter is plugged in but Windows does not start it (problem {problem}); look at it in the Device Manager, and try another USB socket
computer | portless>0                       | do  driver: an FTDI adapter is plugged in but has no serial port; in the Device Manager, at its USB Serial Converter, Properties, Advanced, tick "Load VCP", and plug it in again
computer | adapters>0                       | ok  driver: the adapter has its driver
computer | misnamed>0                       | do  adapter: {chips} has an FTDI chip but a driver that names another manufacturer, so the updater does not take it; install the chip maker's own driver for virtual COM ports, or plug in the machine's own cable
computer | adapters=0 usb=0 others=0        | do  adapter: none is there; plug in the machine's cable and switch the machine on
computer | adapters=0 usb=0                 | do  adapter: no FTDI adapter is there, only {others}, which the updater does not take; plug in the machine's own cable
computer | adapters>1                       | do  adapter: there are {adapters}, and the updater talks to all of them; leave the cable of one machine plugged in, and unplug the others
'@

# The chip's devices by their ids. Its driver has two stages: the converter on the bus, and the serial port.
$chip = '^(USB\\VID_0403|FTDIBUS\\)'

# By the test that the updater makes itself.
function Test-Adapter($manufacturer) { $manufacturer -clike '*FTDI*' }

# The ports and the FTDI devices of this computer, in the shape of a file of recorded answers.
function Get-Answers {
    $devices = Get-CimInstance -ClassName Win32_PnPEntity |
        Where-Object { $_.ClassGuid -eq '{4d36e978-e325-11ce-bfc1-08002be10318}' -or $_.DeviceID -match $chip }
    $ports = @(foreach ($device in $devices) {
        $key = "HKLM:\SYSTEM\CurrentControlSet\Enum\$($device.DeviceID)\Device Parameters"
        $parameters = Get-ItemProperty -LiteralPath $key -ErrorAction SilentlyContinue
        if ($null -eq $parameters -or $null -eq $parameters.PSObject.Properties['PortName']) { continue }
        if ($parameters.PortName -notlike 'COM*') { continue }
        $latency = $parameters.PSObject.Properties['LatencyTimer']
        [pscustomobject]@{
            name = $parameters.PortName
            id = $device.DeviceID
            manufacturer = "$($device.Manufacturer)"
            description = "$($device.Description)"
            latency = if ($null -eq $latency) { $null } else { $latency.Value }
            # Of others none is opened: a Bluetooth port would dial, a board may restart.
            opens = if (Test-Adapter $device.Manufacturer) { Test-Port $parameters.PortName } else { $null }
        }
    })
    $usb = @(foreach ($device in $devices) {
        # A chip with several channels is listed as a whole, by Windows' own driver, and by channel.
        if ($device.DeviceID -notmatch $chip -or $device.Service -eq 'usbccgp') { continue }
        $problem = [int] $device.ConfigManagerErrorCode
        # A serial port without a driver is no port of Windows' yet; one that is well is among the ports.
        if ($device.DeviceID -like 'FTDIBUS\*' -and $problem -eq 0) { continue }
        [pscustomobject]@{ id = $device.DeviceID; problem = $problem }
    })
    [pscustomobject]@{ ports = $ports; usb = $usb }
}

# "yes", "held" by another program, or "no". The port is closed again at once.
function Test-Port($name) {
    $port = New-Object System.IO.Ports.SerialPort $name
    try {
        $port.Open()
        'yes'
    } catch {
        if ($_.Exception.GetBaseException() -is [System.UnauthorizedAccessException]) { 'held' } else { 'no' }
    } finally {
        $port.Dispose()
    }
}

# The facts about each port and about the computer, in the order of their lines.
function Get-Facts($answers) {
    $adapters = 0
    $others = @()
    $chips = @()
    foreach ($port in $answers.ports) {
        $isAdapter = Test-Adapter $port.manufacturer
        # Windows' own are in brackets already: (Standard port types).
        $maker = $port.manufacturer -replace '^\((.*)\)$', '$1'
        $named = "$($port.name) ($maker)"
        if ($isAdapter) { $adapters++ } else { $others += $named }
        if (-not $isAdapter -and $port.id -match $chip) { $chips += $named }
        @{
            about = 'port'
            adapter = if ($isAdapter) { 'yes' } else { 'no' }
            name = $port.name
            manufacturer = $port.manufacturer
            description = $port.description
            # FTDIBUS\VID_0403+PID_6001+SERIAL\0000
            serial = if ($port.id -match '\+([^+\\]+)\\') { $Matches[1] } else { '' }
            opens = $port.opens
            # The driver's own 16 ms where nothing is set.
            latency = if ($null -eq $port.latency) { 16 } else { $port.latency }
        }
    }
    $driverless = @($answers.usb | Where-Object { $_.problem -eq 28 }) # Windows' number for "no driver"
    $faulty = @($answers.usb | Where-Object { $_.problem -ne 0 -and $_.problem -ne 28 })
    $usb = @($answers.usb).Count
    @{
        about = 'computer'
        adapters = $adapters
        others = if ($others.Count -eq 0) { '0' } else { $others -join ', ' }
        # Beside an adapter that is taken, such a port is no matter of the updater's.
        misnamed = if ($adapters -eq 0) { $chips.Count } else { 0 }
        chips = $chips -join ', '
        usb = $usb
        driverless = $driverless.Count
        faulty = $faulty.Count
        problem = if ($faulty.Count -eq 0) { 0 } else { $faulty[0].problem }
        portless = if ($adapters -eq 0 -and $chips.Count -eq 0) { $usb - $driverless.Count - $faulty.Count } else { 0 }
    }
}

function Test-Condition($facts, $condition) {
    $null = $condition -match '^(\w+)([=<>])(\w+)$'
    $fact = $facts[$Matches[1]]
    switch ($Matches[2]) {
        '=' { "$fact" -eq $Matches[3] }
        '<' { [int] $fact -lt [int] $Matches[3] }
        '>' { [int] $fact -gt [int] $Matches[3] }
    }
}

# The lines about one thing's facts.
function Get-Lines($facts) {
    $said = @{}
    foreach ($row in $rows -split "\r?\n") {
        $about, $conditions, $line = ($row -split ' \| ', 3).Trim()
        $topic = ($line -split ':')[0].Substring(4)
        if ($about -ne $facts.about -or $said.ContainsKey($topic)) { continue }
        if (@($conditions -split ' ' | Where-Object { -not (Test-Condition $facts $_) }).Count -gt 0) { continue }
        $said[$topic] = $true
        foreach ($fact in $facts.Keys) { $line = $line.Replace("{$fact}", "$($facts[$fact])") }
        $line
    }
}

try {
    $found = if ($Answers) { Get-Content -Raw -LiteralPath $Answers | ConvertFrom-Json } else { Get-Answers }
    $lines = @(foreach ($facts in @(Get-Facts $found)) { Get-Lines $facts })
} catch {
    # As a line: an error on its own closes the window before it can be read.
    $lines = @('do  doctor: ' + ($_.Exception.Message -replace '\s+', ' '))
}
$lines
if ($Stay) { $null = Read-Host 'Press Enter to close this window' }
if (@($lines -like 'do*').Count -gt 0) { exit 1 }
