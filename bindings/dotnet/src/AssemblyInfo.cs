// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Reflection;
using System.Runtime.CompilerServices;

[assembly: AssemblyTitle("SourceApi")]
[assembly: AssemblyDescription("The TV's list of input sources, for managed applications")]
[assembly: AssemblyVersion("1.0.0.0")]
[assembly: InternalsVisibleTo("SourceApi.Tests")]
