#!/usr/bin/env python3
"""Tests of the recipe for restarts and of the check of commands, without a process."""

import signal
import unittest

import place
import table as tables

from vornix_host import CommandError
from vornix_host.commands import asks_for_document, check, word_of
from vornix_host.life import Life
from vornix_host.lines import LogEntry
from vornix_host.recipe import Again, End, Over, Recipe
from vornix_host.table import LOGS, NOT_DURING_DOCUMENT, STOPS

ABORT = -signal.SIGABRT
TABLE = tables.load(place.TABLE)


def aborted(log, lived=3.0):
    return End(ABORT, lived, log)


class TheRecipe(unittest.TestCase):
    def test_pauses_longer_each_time(self):
        recipe = Recipe()
        pauses = [recipe.after(aborted(f"Device trouve : {n}")).pause for n in range(4)]
        self.assertEqual(pauses, [1, 2, 4, 8])

    def test_ends_after_five_short_lives(self):
        recipe = Recipe()
        for n in range(4):
            self.assertIsInstance(recipe.after(aborted(str(n))), Again)
        self.assertIsInstance(recipe.after(aborted("4")), Over)

    def test_begins_anew_after_a_minute_of_life(self):
        recipe = Recipe()
        for n in range(3):
            recipe.after(aborted(str(n)))
        self.assertEqual(recipe.after(aborted("3", lived=60)), Again(1))
        self.assertEqual([recipe.after(aborted(str(n))).pause for n in range(4, 8)], [1, 2, 4, 8])

    def test_goes_on_for_ever_with_long_lives(self):
        recipe = Recipe()
        for _ in range(1000):
            self.assertEqual(recipe.after(aborted("Stop Scan", lived=3600)), Again(1))

    def test_blames_a_device_when_the_last_line_is_the_same_again(self):
        recipe = Recipe()
        self.assertEqual(recipe.after(aborted("Connexion a ILO-1")), Again(1))
        over = recipe.after(aborted("Connexion a ILO-1"))
        self.assertIn("ILO-1", over.why)

    def test_avoids_a_command_that_has_ended_it_twice(self):
        recipe = Recipe()
        recipe.after(aborted("cde : start raw"))
        self.assertEqual(recipe.avoided, set())
        self.assertEqual(recipe.after(aborted("cde : start raw")), Again(1))
        self.assertEqual(recipe.avoided, {"cde : start raw", "cde : stop raw"})

    def test_avoids_each_of_two_commands(self):
        recipe = Recipe()
        for log in ("cde : stop raw", "cde : stop raw", "cde : get json", "cde : get json"):
            recipe.after(aborted(log))
        self.assertEqual(recipe.avoided, {"cde : start raw", "cde : stop raw", "cde : get json"})

    def test_gets_past_any_number_of_commands_that_end_it(self):
        recipe = Recipe()
        for log in LOGS.values():
            for pause in (1, 1):
                self.assertEqual(recipe.after(aborted(log)), Again(pause))

    def test_does_not_blame_a_device_for_a_signal_that_was_sent(self):
        recipe = Recipe()
        for sent, pause in ((-signal.SIGTERM, 1), (-signal.SIGKILL, 2), (137, 4), (-signal.SIGTERM, 8)):
            self.assertEqual(recipe.after(End(sent, 3.0, "Connexion a ILO-1")), Again(pause))

    def test_blames_a_device_also_with_a_sent_signal_in_between(self):
        recipe = Recipe()
        recipe.after(aborted("Connexion a ILO-1"))
        recipe.after(End(-signal.SIGTERM, 3.0, "Stop Scan"))
        self.assertIsInstance(recipe.after(aborted("Connexion a ILO-1")), Over)

    def test_leaves_an_end_that_it_cannot_explain_to_the_user(self):
        for status in (0, 2, 127):
            self.assertIsInstance(Recipe().after(End(status, 2.0, None)), Over)
        # 134: SIGABRT as a shell reports it
        self.assertEqual(Recipe().after(End(134, 2.0, None)), Again(1))

    def test_leaves_a_useless_radio_to_the_user(self):
        over = Recipe().after(End(0, 2.0, "manager state update : poweredOff", radio="off"))
        self.assertEqual(over, Over("Bluetooth is off"))

    def test_leaves_a_fenwix_without_number_to_the_user(self):
        over = Recipe().after(End(0, 2.0, "Erreur à l'init du Fenwix"))
        self.assertIn("serial number", over.why)

    def test_starts_again_after_a_loss(self):
        recipe = Recipe()
        for pause in (1, 2, 4, 8):
            self.assertEqual(recipe.after(End(0, 9.0, "Stop Scan", is_loss=True)), Again(pause))
        self.assertEqual(recipe.after(End(0, 99.0, "Stop Scan", is_loss=True)), Again(1))

    def test_counts_a_reset_of_the_radio_as_a_loss_only_once_a_device_was_found(self):
        life = Life()
        reset = [f"manager state update : {state}" for state in ("resetting", "poweredOn")]
        seen = []
        for text in (*reset, "Connexion a ILO-1", *reset):
            life.note(LogEntry("00:00:00.000", text))
            seen.append(life.has_lost)
        self.assertEqual(seen, [False, False, False, False, True])


class Commands(unittest.TestCase):
    def test_are_those_of_the_table(self):
        self.assertEqual({one["line"].split()[0]: one["log"] for one in TABLE["commands"]}, LOGS)
        devices = {"CorveltaBattery": "corvelta", "FenwixIdentity": "fenwix", None: None}
        for command in TABLE["commands"]:
            for example in command["examples"]:
                self.assertEqual(check(example["line"]), devices[command.get("safeAfter")])
                self.assertEqual(word_of(example["line"]), command["line"].split()[0])

    def test_have_arguments_within_the_tables_ranges(self):
        for command in TABLE["commands"]:
            for name, field in command.get("arguments", {}).items():
                for value in (field["least"], field["most"]):
                    check(tables.filled(command["line"], {"code": 1, "value": 1, name: value}))
                for value in (field["least"] - 1, field["most"] + 1, "", "x", "0x10", "1.0", "1;"):
                    line = tables.filled(command["line"], {"code": 1, "value": 1, name: value})
                    self.assertRaises(CommandError, check, line)

    def test_share_with_the_document_what_the_table_says(self):
        held_up = {one["line"].split()[0] for one in TABLE["commands"] if "notDuring" in one}
        self.assertEqual(held_up, set(NOT_DURING_DOCUMENT))
        stops = {one["line"]: one["stop"] for one in TABLE["commands"] if "stop" in one}
        self.assertEqual(stops, STOPS)
        document = next(one for one in TABLE["messages"] if one["name"] == "FenwixJson")
        for line in document["answers"]:
            self.assertTrue(asks_for_document(line.replace("{value}", "0")), line)
        for line in ("FX_cmdWriteInt +019 0", "FX_cmdWriteByteX 19 1 2"):
            self.assertTrue(asks_for_document(line), line)
        for line in ("FX_cmdWriteInt 190 0", "FX_cmdWriteInt 1 19", "FX_startRaw", "19"):
            self.assertFalse(asks_for_document(line), line)

    def test_are_known_by_their_whole_line_or_its_beginning_as_the_table_says(self):
        for command in TABLE["commands"]:
            word, _, arguments = command["examples"][0]["line"].partition(" ")
            known = word_of(f"{word}X {arguments}".rstrip())
            self.assertEqual(known, word if command.get("match") == "beginning" else None)

    def test_are_read_as_the_bridge_reads_them(self):
        for line in ("FX_cmdWriteInt -0 +7", "FX_cmdWriteInt 3 004294967295 more",
                     "FX_cmdWriteIntX 1 2", "FX_cmdWriteByte 7 1\r"):  # fmt: skip
            self.assertEqual(check(line), "fenwix", line)
        for line in ("FX_cmdWriteInt", "FX_cmdWriteInt 3", "FX_cmdWriteInt  3 4",
                     "FX_cmdWriteInt 3 -1", "FX_cmdWriteByte 3 256", "FX_startRaw\nkill",
                     "FX_cmdWriteInt 3 " + 5000 * "9"):  # fmt: skip
            self.assertRaises(CommandError, check, line)
        for line in ("", "Kill", "kill ", "fx_startRaw", "FX_startRaw ", "bonjour"):
            self.assertIsNone(check(line), line)


if __name__ == "__main__":
    unittest.main()
