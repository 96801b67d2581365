// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

namespace SourceApi
{
    /// <summary>The properties of a USB device. Those missing from the reply are empty or false.
    /// </summary>
    public sealed class UsbData
    {
        internal UsbData(string json, JsonObject answer)
        {
            Json = json;
            CalledApp = answer.Text("calledApp");
            DeviceType = answer.Text("deviceType");
            DeviceName = answer.Text("deviceName");
            IsPtp = answer.Flag("isPTP");
            BusNumber = answer.Text("deviceBusNumber");
            AddressNumber = answer.Text("deviceAddressNumber");
            VendorName = answer.Text("vendorName");
            VolumeName = answer.Text("volumeName");
            DevicePath = answer.Text("devicePath");
        }

        /// <summary>The service's complete reply as indented JSON.</summary>
        public string Json { get; }

        /// <summary>The application that the device calls.</summary>
        public string CalledApp { get; }

        /// <summary>The kind of device, as named by the service.</summary>
        public string DeviceType { get; }

        /// <summary>The device's name.</summary>
        public string DeviceName { get; }

        /// <summary>True for a PTP camera, which has a bus number and an address; false for a
        /// device with a vendor, a volume and a path.</summary>
        public bool IsPtp { get; }

        /// <summary>The number of the USB bus.</summary>
        public string BusNumber { get; }

        /// <summary>The address on that bus.</summary>
        public string AddressNumber { get; }

        /// <summary>The vendor's name.</summary>
        public string VendorName { get; }

        /// <summary>The volume's name.</summary>
        public string VolumeName { get; }

        /// <summary>Where the volume is mounted.</summary>
        public string DevicePath { get; }
    }
}
