// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Text;
using System.Threading;
using SourceApi;

/// <summary>Prints the list of sources and then its changes, until it is interrupted or, with
/// "--count N", until N changes were printed.</summary>
internal static class ListAndFollow
{
    private static int Main(string[] arguments)
    {
        int count = 0;
        if (arguments.Length != 0 && (arguments.Length != 2 || arguments[0] != "--count"
            || !int.TryParse(arguments[1], out count) || count < 1))
        {
            Console.Error.WriteLine("usage: list-and-follow [--count N]");
            return 2;
        }
        // Names may be in any script, so the output is UTF-8 in every locale.
        Console.OutputEncoding = new UTF8Encoding(false);
        try
        {
            return Follow(count) ? 0 : 1;
        }
        catch (SourceApiException error)
        {
            Console.Error.WriteLine("list-and-follow: " + error.Message);
            return 1;
        }
    }

    private static bool Follow(int count)
    {
        using (var end = new CountdownEvent(Math.Max(count, 1)))
        using (var client = new SourceClient(null))
        {
            if (client.GetSources() == null)
            {
                Console.Error.WriteLine("list-and-follow: the list of sources cannot be had");
                return false;
            }
            using (SourceSubscription following = client.Subscribe(change =>
            {
                if (end.IsSet)
                {
                    return;
                }
                Print(change);
                if (count > 0)
                {
                    end.Signal();
                }
            }))
            {
                PrintEach("         ", following.Sources);
                Console.WriteLine("following");
                end.Wait();
            }
        }
        return true;
    }

    private static void Print(SourceListChange change)
    {
        PrintEach("added    ", change.Added);
        PrintEach("removed  ", change.Removed);
        foreach (ChangedSource each in change.Changed)
        {
            Console.WriteLine("changed  {0} to {1}", each.Before, each.After);
        }
    }

    private static void PrintEach(string what, IEnumerable<Source> sources)
    {
        foreach (Source source in sources)
        {
            Console.WriteLine("{0}{1}", what, source);
        }
    }
}
