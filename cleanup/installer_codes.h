#pragma once

#include <cstddef>

namespace zelto {

// What ties the library to the client's installer, in the form in which Windows Installer takes codes.
//
// An installer takes them from here: the UpgradeCode of each product's Package or Product element is the
// entry of that product below, and the component whose key file lies in the installation folder, beside
// "AzureToken2.exe", carries kTokenProgramComponent as its Guid. The library finds the folder by these two
// and by nothing else, so a code that has been shipped is never changed, and a new product is added to the
// list.

// The upgrade codes of the client's products, in the order in which they are looked for.
inline constexpr const wchar_t* kUpgradeCodes[] = {
    L"{C5B70E29-F01D-4C49-9331-8709B15400B6}", // client
    L"{CDA5F054-4ABE-47C4-8EAF-2A829409C05C}", // client with VPN only
    L"{FB1C91D3-0FE9-4A3F-AAFF-10F914FA57E5}", // client with ZTNA only
    L"{CEDBB8D9-2291-4B39-A9B0-9256389BA020}", // client, managed
    L"{BB8BEC97-6655-4657-AE79-297F6A6F53ED}", // management tools: come without the token program
};

// How many of them, from the first on, have the token program.
inline constexpr std::size_t kProductsWithTokenProgram = 4;

// The component whose key file lies in the installation folder.
inline constexpr wchar_t kTokenProgramComponent[] = L"{6F294817-85AE-42B5-B8F0-4A9135B78953}";

} // namespace zelto
