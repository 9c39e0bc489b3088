#!/usr/bin/env python3
"""Tests of the package's Bridge, with the demo and with a bridge that follows a test's script."""

import asyncio
import os
import signal
import tempfile
import time
import unittest
from unittest import mock

import place
import vornix_host as v
from vornix_host import recipe

ABORT = -signal.SIGABRT
LIMIT = 60  # seconds; only a failing test waits this long
SHORT = mock.patch.object(recipe, "PAUSES", (0.01, 0.02, 0.03, 0.04, 0.05, 0.06))


def demo(*arguments, **options):
    return v.Bridge(place.DEMO, *arguments, **options)


def fake(*steps, **options):
    return v.Bridge(*place.FAKE, *steps, **options)


async def first(stream, kind):
    async for event in stream:
        if isinstance(event, kind):
            return event
    raise AssertionError(f"no {kind.__name__}")


async def everything(bridge):
    """All events until the bridge is over, from before its start."""
    events, came = bridge.events(), []
    async with bridge:
        try:
            async for event in events:
                came.append(event)
        except v.BridgeOver as error:
            came.append(error)
    return came


def plain(text):
    """A step that writes this text unframed."""
    return "bytes=" + text.encode().hex()


def kinds(came):
    return [type(event).__name__ for event in came]


class Limited(unittest.IsolatedAsyncioTestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.mark = os.path.join(folder.name, "mark")

    def _callTestMethod(self, method):
        async def limited():
            await asyncio.wait_for(method(), LIMIT)

        super()._callTestMethod(limited)


class OverTheDemo(Limited):
    async def test_gives_motions_with_the_time_of_their_arrival(self):
        begin, begin_wall = time.monotonic(), time.time()
        async with demo("--devices", "tramsel") as bridge:
            self.assertEqual(await bridge.tramsel(), v.TramselFound())
            values = []
            async for motion in bridge.motions():
                values.append(motion)
                if len(values) == 5:
                    break
        times = [begin, *(one.monotonic for one in values), time.monotonic()]
        self.assertEqual(times, sorted(times))
        walls = [begin_wall, *(one.wall for one in values), time.time()]
        self.assertEqual(walls, sorted(walls))
        self.assertEqual([one.values[0] for one in values], [0, 1, 2, 3, 4])
        self.assertEqual(values[-1].battery, 92)

    async def test_tells_the_probes_of_a_family_apart(self):
        for kind in ("ilo", "tenoval"):
            async with demo("--devices", kind) as bridge:
                measurements = bridge.measurements()
                self.assertEqual((await bridge.probe()).model, kind)
                self.assertEqual((await measurements.__anext__()).model, kind)

    async def test_carries_out_commands_that_were_sent_before_the_device_was_ready(self):
        async with demo("--devices", "corvelta,fenwix", "--control", "json 60") as bridge:
            raw, contractions = bridge.raw(2), bridge.contractions()
            calibrations = bridge.messages()
            await asyncio.gather(
                bridge.start_raw(2), bridge.start_acquisition(), bridge.start_calibration()
            )
            document = await bridge.get_json()
            self.assertEqual(len(document.text), 60)
            self.assertEqual((await raw.__anext__()).stream, 2)
            self.assertEqual(await contractions.__anext__(), v.CorveltaContraction(1284, 6, 0))
            await bridge.stop_calibration()
            await first(calibrations, v.CorveltaCalibration)
            await bridge.write_int(12, 0xFFFFFFFF)
            await bridge.write_byte(7, 255)

    async def test_asks_for_one_document_at_a_time(self):
        bridge = demo("--devices", "fenwix", "--control", "json 9000")
        events, turns = bridge.events(), []
        async with bridge:
            documents = await asyncio.gather(*(bridge.get_json() for _ in range(5)))
            self.assertEqual({len(document.text) for document in documents}, {9000})
        async for event in events:
            if isinstance(event, v.FenwixJson) or event == v.LogEntry(
                getattr(event, "time", ""), "cde : get json"
            ):
                turns.append(type(event))
        self.assertEqual(turns, 5 * [v.LogEntry, v.FenwixJson])

    async def test_refuses_arguments_before_the_bridge_ends_itself(self):
        async with demo("--devices", "fenwix") as bridge:
            await bridge.fenwix()
            for code, value in ((256, 0), (-1, 0), (3, 256), (3, -1)):
                with self.assertRaises(v.CommandError):
                    await bridge.write_byte(code, value)
            with self.assertRaises(v.CommandError):
                await bridge.write_int(3, 1 << 32)
            with self.assertRaises(v.CommandError):
                await bridge.start_raw(3)
            with self.assertRaises(v.CommandError):
                await bridge.send("FX_startRaw\nFX_cmdWriteInt")
            self.assertEqual(len((await bridge.get_json()).text), 600)

    async def test_reports_the_radios_state_as_a_word(self):
        for fault, word in (("off", "off"), ("unauthorized", "unauthorized"),
                            ("unsupported", "unsupported"), ("unknown", "unsupported")):  # fmt: skip
            bridge = demo("--fault", f"radio={fault}")
            came = await everything(bridge)
            self.assertIn(v.RadioUnusable(word), came)
            self.assertEqual(bridge.radio, word)
            self.assertIn(f"Bluetooth is {word}", str(came[-1]))

    async def test_reports_a_reset_of_the_radio(self):
        async with demo("--devices", "tramsel", "--fault", "radio=reset@1") as bridge:
            events = bridge.events()
            states = [await first(events, v.RadioChanged) for _ in range(3)]
            self.assertEqual([one.state for one in states], ["on", "resetting", "on"])

    async def test_reports_a_stream_that_has_stopped(self):
        async with demo("--devices", "tramsel", "--fault", "lost=1", silence=0.5) as bridge:
            lost = await first(bridge.events(), v.StreamLost)
            self.assertEqual(lost.stream, "motion")

    async def test_reports_a_device_that_was_lost_before_its_services_were_known(self):
        arguments = ["--devices", "corvelta", "--fault", "drop-at=services"]
        async with demo(*arguments, silence=0.5) as bridge:
            events = bridge.events()
            self.assertEqual((await first(events, v.DeviceLost)).name, "Tarvix-1")
            waiting = asyncio.ensure_future(bridge.start_calibration())
            await bridge.send("bonjour")  # the bridge goes on, while the command is held back
            while (await first(events, v.LogEntry)).text != "commande recue non traitee : bonjour":
                pass
            self.assertFalse(waiting.done())
            waiting.cancel()

    async def test_does_not_give_a_lost_device_as_found(self):
        for kind, wait in (("tramsel", v.Bridge.tramsel), ("tenoval", v.Bridge.probe)):
            async with demo("--devices", kind, "--fault", "refuse-services") as bridge:
                events = bridge.events()
                await wait(bridge)
                await first(events, v.DeviceLost)
                again = asyncio.ensure_future(wait(bridge))
            with self.assertRaises(v.BridgeOver):
                await again

    async def test_starts_again_when_asked_to_after_a_device_failed(self):
        arguments = ["--devices", "tramsel", "--fault", "refuse-services"]
        with SHORT:
            async with demo(*arguments, silence=0.5, restart_on_loss=True) as bridge:
                events = bridge.events()
                for start in (2, 3):
                    self.assertEqual((await first(events, v.DeviceLost)).name, "Tramsel-1")
                    self.assertEqual((await first(events, v.Ended)).status, 0)
                    self.assertEqual(await first(events, v.Started), v.Started(start))

    async def test_gives_up_when_asked_to_start_again_and_a_device_always_fails(self):
        steps = ["log=erreur de lecture des services x de Tramsel-1", "echo"]
        with SHORT:
            came = await everything(fake(*steps, silence=0.1, restart_on_loss=True))
        self.assertEqual(kinds(came).count("Started"), recipe.MOST)
        self.assertIn("starts in a row", str(came[-1]))

    async def test_does_not_miss_a_raw_stream_that_was_switched_off(self):
        arguments = ["--devices", "fenwix", "--control", "rate 20"]
        async with demo(*arguments, silence=1) as bridge:
            raw, rms, events = bridge.raw(), bridge.rms(), bridge.events()
            await bridge.start_raw()
            await raw.__anext__()
            await bridge.stop_raw()
            for _ in range(60):  # three seconds of another stream
                await rms.__anext__()
            self.assertFalse([one for one in events._kept if isinstance(one, v.StreamLost)])

    async def test_starts_again_when_asked_to_after_a_loss(self):
        arguments = ["--devices", "tramsel", "--fault", "lost=1"]
        with SHORT:
            async with demo(*arguments, silence=0.5, restart_on_loss=True) as bridge:
                events = bridge.events()
                for start in (2, 3):
                    await first(events, v.StreamLost)
                    self.assertEqual((await first(events, v.Ended)).status, 0)
                    self.assertEqual(await first(events, v.Started), v.Started(start))
                    await bridge.tramsel()

    async def test_ends_during_a_fast_stream_without_losing_a_value(self):
        bridge = demo("--devices", "tramsel", "--control", "rate 1000")
        motions = bridge.motions()
        async with bridge:
            await motions.__anext__()
        rest = [motion.values[0] async for motion in motions]
        self.assertEqual(rest, list(range(1, len(rest) + 1)))
        self.assertGreater(len(rest), 1)

    async def test_learns_that_a_device_cannot_carry_out_a_command(self):
        arguments = ["--devices", "corvelta", "--fault",
                     "hide=0860AC22-B172-468E-9755-03A53F3C7E40"]  # fmt: skip
        with SHORT:
            async with demo(*arguments) as bridge:
                events = bridge.events()
                for _ in range(2):
                    await bridge.start_calibration()
                    self.assertEqual((await first(events, v.Ended)).status, ABORT)
                with self.assertRaises(v.CommandError):
                    await bridge.start_calibration()
                contractions = bridge.contractions()
                await bridge.start_acquisition()
                await contractions.__anext__()


class OverAPlayedBridge(Limited):
    async def test_gives_the_lines_between_damage(self):
        bridge = fake(
            "bytes=" + b"stray\n<V;0000>\n<C;1;".hex(), "message=V;",
            "bytes=" + b"<@25:00:00.000 : x>\n<PJ".hex(), "message=K;NC;7;", "exit=0",
        )  # fmt: skip
        came = await everything(bridge)
        self.assertEqual(
            [one for one in came if isinstance(one, v.Message)],
            [v.CorveltaOnMains(), v.CorveltaCalibration(7)],
        )
        damaged = b"".join(one.data for one in came if isinstance(one, v.DamagedLine))
        self.assertEqual(damaged, b"stray\n<V;0000>\n<C;1;<@25:00:00.000 : x>\n<PJ")

    async def test_finds_the_name_of_a_lost_device_behind_an_error_of_any_words(self):
        came = await everything(fake(
            "log=Connexion a Paul", "log=Connexion a Tramsel de Paul",
            "log=erreur de lecture des services fin de liaison de Tramsel de Paul",
            "log=erreur de lecture des services fin de liaison de Paul",
            "log=erreur de lecture des services fin de liaison de Ilo-7", "exit=0",
        ))  # fmt: skip
        lost = [one.name for one in came if isinstance(one, v.DeviceLost)]
        self.assertEqual(lost, ["Tramsel de Paul", "Paul", "Ilo-7"])

    async def test_does_not_give_a_device_as_found_after_the_report_of_its_loss(self):
        steps = ["log=Connexion a Dorvane", "log=erreur de lecture des services x de Dorvane",
                 "message=C;3;0;", "message=C;1;", "echo"]  # fmt: skip
        async with fake(*steps) as bridge:
            await bridge.probe()
            lost = asyncio.ensure_future(bridge.tramsel())
        with self.assertRaises(v.BridgeOver):
            await lost

    async def test_gives_unknown_messages(self):
        came = await everything(fake("message=Q;1;", "message=S;1;65536;0;", "exit=0"))
        unknown = [one.payload for one in came if isinstance(one, v.UnknownMessage)]
        self.assertEqual(unknown, ["Q;1;", "S;1;65536;0;"])

    async def test_pauses_and_starts_again_until_the_recipe_gives_up(self):
        with SHORT:
            came = await everything(fake("log=begin", "message=V;", "abort"))
        again = ["Started", "LogEntry", "CorveltaOnMains", "Ended"]
        self.assertEqual(
            kinds(came), [*again, "Restarting", *again, "GivenUp", "BridgeOver"]
        )
        self.assertIn("begin", str(came[-1]))

    async def test_does_not_start_again_where_the_host_does_not_want_it(self):
        came = await everything(fake("abort", restart=False))
        self.assertEqual(kinds(came), ["Started", "Ended", "GivenUp", "BridgeOver"])

    async def test_forgets_at_a_start_which_devices_were_ready(self):
        bridge = fake("once=" + self.mark, "message=C;5;0;1;2;3;4;5;", "wait=FX_startRaw", "abort",
                      "end", "wait=go", "message=C;5;0;9;2;3;4;5;", "echo")  # fmt: skip
        with SHORT:
            async with bridge:
                events = bridge.events()
                self.assertEqual((await bridge.fenwix()).serial, 1)
                await bridge.start_raw()
                await first(events, v.Restarting)
                asking = asyncio.ensure_future(bridge.stop_raw())
                await first(events, v.Started)
                await bridge.send("go")
                self.assertEqual((await bridge.fenwix()).serial, 9)
                await asking
                self.assertEqual((await first(events, v.LogEntry)).text, "FX_stopRaw")

    async def test_answers_nobody_when_it_ends_before_the_document(self):
        bridge = fake("once=" + self.mark, "message=C;5;0;1;2;3;4;5;", "wait=FX_getJson", "abort",
                      "end", "echo")  # fmt: skip
        with SHORT:
            async with bridge:
                with self.assertRaises(v.BridgeEnded):
                    await bridge.get_json()

    async def test_gives_up_a_document_that_does_not_come(self):
        async with fake("message=C;5;0;1;2;3;4;5;", "echo") as bridge:
            with self.assertRaises(asyncio.TimeoutError):
                await bridge.get_json(timeout=0.01)

    async def test_writes_no_other_channel_command_while_a_document_is_awaited(self):
        bridge = fake("message=C;5;0;1;2;3;4;5;", "wait=go", "message=PJSON;;", "echo")
        events = bridge.events()
        async with bridge:
            await bridge.write_int(19, 0)
            waiting = [asyncio.ensure_future(one) for one in (
                bridge.write_byte(7, 1), bridge.start_raw(), bridge.send("go"))]  # fmt: skip
            await asyncio.gather(*waiting)
            await first(events, v.FenwixJson)
            self.assertEqual((await first(events, v.LogEntry)).text, "FX_cmdWriteByte 7 1")

    async def test_refuses_the_channel_of_a_document_that_did_not_come(self):
        async with fake("message=C;5;0;1;2;3;4;5;", "wait=go", "message=PJSON;;", "echo") as bridge:
            events = bridge.events()
            with self.assertRaises(asyncio.TimeoutError):
                await bridge.get_json(timeout=0.01)
            for work in (bridge.write_byte(7, 1), bridge.get_json()):
                with self.assertRaises(v.CommandError):
                    await work
            await bridge.send("go")
            await first(events, v.FenwixJson)
            await bridge.write_byte(7, 1)

    async def test_starts_again_when_asked_to_after_a_reset_of_the_radio(self):
        steps = ["message=C;4;0;9;0;", "wait=go", "log=manager state update : resetting",
                 "wait=on", "log=manager state update : poweredOn", "echo"]  # fmt: skip
        with SHORT:
            async with fake(*steps, silence=0.5, restart_on_loss=True) as bridge:
                events = bridge.events()
                await bridge.corvelta()
                await bridge.send("go")
                await first(events, v.RadioChanged)
                waiting = asyncio.ensure_future(bridge.start_calibration())
                await bridge.send("on")
                self.assertEqual((await first(events, v.Ended)).status, 0)
                await first(events, v.Started)
                await waiting

    async def test_lets_nobody_wait_for_a_bridge_that_is_over(self):
        async with fake("wait=go", "message=Z;2;", "exit=0") as bridge:
            waiting = [asyncio.ensure_future(work) for work in (
                bridge.tramsel(), bridge.start_raw(), bridge.get_json(),
                first(bridge.motions(), v.TramselMotion))]  # fmt: skip
            await bridge.send("go")
            for one in waiting:
                with self.assertRaises(v.BridgeOver):
                    await one

    async def test_stops_at_the_end_what_it_has_started(self):
        bridge = fake("message=C;4;0;9;0;", "message=C;5;0;1;2;3;4;5;", "echo")
        events = bridge.events()
        async with bridge:
            await bridge.start_acquisition()
            await bridge.start_raw()
            await bridge.start_raw(2)
            await bridge.stop_raw()
        lines = [one.text async for one in events if isinstance(one, v.LogEntry)]
        self.assertEqual(lines[-2:], ["CV_finAcquisition", "FX_stopRaw2"])

    async def test_reads_what_waits_before_it_ends_the_bridge(self):
        bridge = fake("values=300", "echo")
        values = bridge.rms()
        with mock.patch.object(v.bridge, "DRAINED", 1.0):  # output pauses longer on a busy machine
            async with bridge:
                await values.__anext__()
        self.assertEqual([one.value async for one in values], list(range(1, 300)))

    async def test_ends_a_bridge_that_does_not_obey(self):
        bridge = fake("message=V;", "wait=never", "echo")
        events = bridge.events()
        with mock.patch.object(v.bridge, "PATIENCE", 0.05):
            async with bridge:
                await first(events, v.CorveltaOnMains)
                bridge._process.close_input = lambda: None
        self.assertEqual((await first(events, v.Ended)).status, -signal.SIGKILL)

    async def test_does_not_start_what_is_not_there(self):
        with self.assertRaises(FileNotFoundError):
            async with v.Bridge("/nowhere/vornix"):
                pass

    async def test_loses_nothing_while_the_host_is_busy(self):
        bridge = fake("values=500", "log=end of steps", "echo")
        values = bridge.rms()
        async with bridge:
            await values.__anext__()
            time.sleep(1)  # the event loop is blocked while values come
            still = time.monotonic()
            rest = [await values.__anext__() for _ in range(499)]
        self.assertEqual([one.value for one in rest], list(range(1, 500)))
        self.assertLess(rest[0].monotonic, still - 0.1)


class OverABridgeWithADocument(Limited):
    """After a document that may be damaged, everything may be its text, so nothing is trusted."""

    READY = "message=C;5;0;1;2;3;4;5;"
    FORGED = ["message=C;4;0;9;0;", "message=V;", "log=cde : start raw", "message=Z;2;"]

    async def told(self, *steps):
        """The events of one life in which the host asks for a document, and of which the steps are
        not the end."""
        steps = [plain("stray\n"), self.READY, "wait=FX_cmdWriteInt 19 0", *steps, "echo"]
        bridge = fake(*steps, restart=False)
        events, came = bridge.events(), []
        async with bridge:
            await bridge.write_int(19, 0)
            try:
                async for event in events:
                    came.append(event)
                    if isinstance(event, v.LogEntry) and event.text == "end of steps":
                        break
            except v.BridgeOver as error:
                came.append(error)
        return came

    DOUBTFUL = {
        "a document that is cut off": [plain('<PJSON;{"a":1'), *FORGED],
        "a document with a wrong checksum": [plain("<PJSON;{};0000>\n"), *FORGED],
        "a document that holds the end of a line": [plain('<PJSON;{"a":"x>\n'), *FORGED],
        "damage while a document is awaited": [plain("stray\n"), *FORGED],
        "a text that is no JSON": ['message=PJSON;{"a":1;', *FORGED],
        "a text of no value": ["message=PJSON; ;", *FORGED],
        "a number that JSON does not have": ["message=PJSON;[NaN];", *FORGED],
        "damage behind a document": ["message=PJSON;[1];", plain("rest of it\n"), *FORGED],
        "damage far behind a document": [
            "message=PJSON;[1];", "log=" + 65529 * "x", plain("y\n"), *FORGED],
        "a device that is told of twice": [
            "message=PJSON;[1];", "message=C;5;0;6;2;3;4;5;", *FORGED],
    }  # fmt: skip

    async def test_trusts_nothing_after_damage_that_may_be_its_text(self):
        for name, steps in self.DOUBTFUL.items():
            with self.subTest(name):
                came = await self.told(*steps)
                behind = kinds(came)[kinds(came).index("TrustLost"):]
                self.assertEqual(behind, ["TrustLost", "Ended", "GivenUp", "BridgeOver"])
                self.assertIn(came[-4].why, str(came[-1]))
                self.assertEqual(came[-3].status, 0)

    async def test_trusts_what_follows_a_whole_document(self):
        # Any JSON, damage before the request, and damage too far behind to belong to the document
        texts = ("", "[1]", ' {"a" : [-0.5e+7, "\\u00e9<>", true, null]} ', "7" * 5000)
        far = ["log=" + 65530 * "x", plain("y\n")]
        for text in texts:
            with self.subTest(text[:40]):
                steps = [f"message=PJSON;{text};", *far, "message=V;", "log=end of steps"]
                came = await self.told(*steps)
                self.assertIn(v.FenwixJson(text), came)
                self.assertIn(v.CorveltaOnMains(), came)
                self.assertNotIn("TrustLost", kinds(came))

    async def test_gives_a_document_that_nobody_asked_for_as_unknown(self):
        came = await everything(fake("message=PJSON;[1];", "message=V;", "exit=0"))
        self.assertIn(v.UnknownMessage("PJSON;[1];"), came)
        self.assertIn(v.CorveltaOnMains(), came)
        self.assertNotIn("FenwixJson", kinds(came))
        came = await everything(fake("message=PJSON;[1;", "message=V;", "exit=0", restart=False))
        self.assertEqual(kinds(came)[2:4], ["TrustLost", "Ended"])

    async def test_starts_again_and_never_asks_for_one_again(self):
        damaged = [self.READY, "message=C;4;0;9;0;", "wait=FX_getJson", plain("<PJSON;{\n")]
        bridge = fake("once=" + self.mark, *damaged, *self.FORGED, "echo", "end", self.READY, "echo")
        with SHORT:
            async with bridge:
                events = bridge.events()
                await bridge.start_acquisition()
                asking = asyncio.gather(*(bridge.get_json() for _ in range(2)),
                                        return_exceptions=True)  # fmt: skip
                await first(events, v.TrustLost)
                with self.assertRaises(v.CommandError):
                    await bridge.write_byte(19, 0)
                waiting = asyncio.ensure_future(bridge.write_byte(7, 1))
                ended = await events.__anext__()
                self.assertEqual(ended, v.Ended(0))
                self.assertEqual(await first(events, v.Started), v.Started(2))
                self.assertEqual((await first(events, v.LogEntry)).text, "FX_cmdWriteByte 7 1")
                await waiting
                errors = [type(error) for error in await asking]
                self.assertEqual(errors, [v.BridgeEnded, v.CommandError])
                for work in (bridge.get_json(), bridge.send("FX_cmdWriteInt +19 0")):
                    with self.assertRaises(v.CommandError):
                        await work

    async def test_is_given_up_when_the_damage_repeats(self):
        with SHORT:
            came = await everything(fake("log=begin", plain("<PJSON;{\n"), *self.FORGED, "abort"))
        self.assertEqual(kinds(came).count("TrustLost"), recipe.MOST)
        self.assertIn("starts in a row", str(came[-1]))


if __name__ == "__main__":
    unittest.main()
